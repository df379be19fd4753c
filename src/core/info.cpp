#include "core/info.h"

#include <cmath>
#include <cstddef>

double dosage_r2(const StudyList& list, const double* freq, int M) {
  const std::size_t n = list.subjects.size();
  if (n < 2) return std::nan("");
  const int target = 1 << (M - 1);
  double sum_d = 0.0, sum_d2 = 0.0, sum_e = 0.0;
  for (const SubjectNode& s : list.subjects) {
    double total = 0.0, d = 0.0, e = 0.0;
    for (int k = s.first; k < s.last; k++) {
      const PairNode& p = list.pairs[static_cast<std::size_t>(k)];
      const double w = (p.h1 == p.h2 ? 1.0 : 2.0) * freq[p.h1] * freq[p.h2];
      const int g = ((p.h1 & target) != 0) + ((p.h2 & target) != 0);
      total += w;
      d += w * g;
      e += w * g * g;
    }
    if (!(total > 0.0)) return std::nan("");
    d /= total;
    e /= total;
    sum_d += d;
    sum_d2 += d * d;
    sum_e += e;
  }
  const double m = sum_d / static_cast<double>(n);
  const double var_d = sum_d2 - static_cast<double>(n) * m * m;
  const double var_g = sum_e - static_cast<double>(n) * m * m;
  if (!(var_g > 1e-12 * static_cast<double>(n))) return std::nan("");
  const double r2 = var_d / var_g;
  return r2 < 0.0 ? 0.0 : (r2 > 1.0 ? 1.0 : r2);
}
