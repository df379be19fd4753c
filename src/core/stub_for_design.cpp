// Temporary definitions of the study list builder, the L1 length, the two
// variance checks and the failure-time table, so that the complete-data fits can
// be built and tested before the haplotype core lands. They follow the declared
// contracts literally; drop this file when the core routines are merged.
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "core/failtable.h"
#include "core/freq.h"
#include "core/haplist.h"

namespace {

// The three rejections of the compatibility test, in their fixed order.
int pair_fits_row(const int* row, int ha, int hb, int M) {
  for (int k = M - 1; k >= 0; k--) {
    const int g = row[M - 1 - k];
    const int a = (ha >> k) & 1;
    const int b = (hb >> k) & 1;
    if (a > g) return 0;
    if (g - a == 2) return 0;
    if ((g == 0 || g == 1 || g == 2) && a + b != g) return 0;
  }
  return 1;
}

}  // namespace

void makelist(StudyList& list, const Mat<int>& geno, int n, int M) {
  list.clear();
  std::vector<int> row(static_cast<std::size_t>(M));
  for (int i = 0; i < n; i++) {
    int lo = 0, hi = 0;
    for (int j = 0; j < M; j++) {
      row[static_cast<std::size_t>(j)] = geno[i][j];
      const int bit = 1 << (M - 1 - j);
      if (geno[i][j] == 2) lo += bit;
      if (geno[i][j] != 0) hi += bit;
    }
    SubjectNode s;
    s.first = static_cast<int>(list.pairs.size());
    for (int ha = lo; ha <= hi; ha++)
      for (int hb = ha; hb <= hi; hb++)
        if (pair_fits_row(row.data(), ha, hb, M)) {
          PairNode pn;
          pn.h1 = ha;
          pn.h2 = hb;
          list.pairs.push_back(pn);
        }
    s.last = static_cast<int>(list.pairs.size());
    s.idx = i;
    list.subjects.push_back(s);
  }
}

double length(const double* v, int n) {
  double s = 0.0;
  for (int i = 0; i < n; i++) s += std::fabs(v[i]);
  return s;
}

int explosion_E(const Mat<double>& a, int n) {
  for (int i = 1; i <= n; i++) {
    double smallest = 1e6, sum = 0.0;
    for (int j = 1; j <= n; j++) {
      const double v = std::fabs(a[i][j]);
      if (v < smallest) smallest = v;
      sum += v;
    }
    if (smallest >= 1e6 || std::isnan(sum) || sum < 1e-6) return 1;
  }
  return 0;
}

int inproper_std(const Mat<double>& a, int n) {
  for (int i = 1; i <= n; i++)
    if (a[i][i] <= 0.0 || a[i][i] >= 100.0) return 1;
  return 0;
}

void makeFlist(Window& w, const double* TIME, const int* EVENT) {
  const std::size_t ns = w.list.subjects.size();
  std::vector<char> taken(ns, 0);
  w.Fp.assign(ns + 2, FailRecord{});
  w.Fp[0].count = 1;
  w.Fp[0].time = 0.0;
  int T = 0;
  for (std::size_t s = 0; s < ns; s++) {
    const int idx = w.list.subjects[s].idx;
    if (EVENT[idx] != 1) continue;
    bool seen = false;
    for (int t = 0; t <= T; t++)
      if (!(std::fabs(TIME[idx] - w.Fp[static_cast<std::size_t>(t)].time) > kTieTolerance)) seen = true;
    if (seen) continue;
    T++;
    FailRecord& r = w.Fp[static_cast<std::size_t>(T)];
    r.count = 1;
    r.time = TIME[idx];
    r.subjects.assign(1, static_cast<int>(s));
    taken[s] = 1;
  }
  for (int i = 1; i <= T; i++) {
    int m = i;
    for (int j = i + 1; j <= T; j++)
      if (w.Fp[static_cast<std::size_t>(j)].time < w.Fp[static_cast<std::size_t>(m)].time) m = j;
    if (m != i) std::swap(w.Fp[static_cast<std::size_t>(i)], w.Fp[static_cast<std::size_t>(m)]);
  }
  w.Fp[static_cast<std::size_t>(T) + 1].time = kSentinelTime;
  for (int t = 1; t <= T; t++) {
    FailRecord& r = w.Fp[static_cast<std::size_t>(t)];
    const double upper = w.Fp[static_cast<std::size_t>(t) + 1].time;
    for (std::size_t s = 0; s < ns; s++) {
      if (taken[s]) continue;
      const int idx = w.list.subjects[s].idx;
      if (r.time <= TIME[idx] && TIME[idx] < upper) {
        r.subjects.push_back(static_cast<int>(s));
        taken[s] = 1;
        if (EVENT[idx] == 1) r.count++;
      }
    }
  }
  for (std::size_t s = 0; s < ns; s++)
    if (!taken[s]) w.Fp[0].subjects.push_back(static_cast<int>(s));
  w.Fp.resize(static_cast<std::size_t>(T) + 2);
  w.T = T;
}
