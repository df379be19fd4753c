// The study EM of the haplotype frequencies written out literally, subject after
// subject and pair after pair, with nothing shared between subjects: the oracle
// for the frequency estimation's order of summation.
#pragma once

#include <cmath>
#include <vector>

#include "core/haplist.h"

// f[0..K-1] in/out; the subjects of list whose status passes take part (all when
// status is empty).
inline void literal_em(const StudyList& list, std::vector<double>& f, const std::vector<int>& status = {}) {
  const std::size_t K = f.size();
  std::vector<double> d(K, 1.0), fnew(K);
  for (int iter = 0; iter < 500; iter++) {
    double L1 = 0.0;
    for (double v : d) L1 += std::fabs(v);
    if (!(L1 >= 0.0001)) break;
    fnew.assign(K, 0.0);
    int Ns = 0;
    for (const SubjectNode& s : list.subjects) {
      if (!status.empty() && status[static_cast<std::size_t>(s.idx)] != 0 && status[static_cast<std::size_t>(s.idx)] != 1)
        continue;
      Ns++;
      std::vector<double> w;
      double P = 0.0;
      for (int p = s.first; p < s.last; p++) {
        const PairNode& pr = list.pairs[static_cast<std::size_t>(p)];
        w.push_back((pr.h1 == pr.h2 ? 1.0 : 2.0) * f[static_cast<std::size_t>(pr.h1)] * f[static_cast<std::size_t>(pr.h2)]);
        P += w.back();
      }
      if (P == 0.0) P = 1.0;
      for (int p = s.first; p < s.last; p++) {
        const PairNode& pr = list.pairs[static_cast<std::size_t>(p)];
        const double weight = w[static_cast<std::size_t>(p - s.first)] / P;
        fnew[static_cast<std::size_t>(pr.h1)] += weight / 2.0;
        fnew[static_cast<std::size_t>(pr.h2)] += weight / 2.0;
      }
    }
    for (std::size_t h = 0; h < K; h++) {
      const double next = fnew[h] / Ns;
      d[h] = next - f[h];
      f[h] = next;
    }
  }
}
