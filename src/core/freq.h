// Haplotype frequencies of a window: the EM estimate from the study, the panel or
// both (which also leaves each list entry's posterior weight), the L1 length used
// as convergence measure, the back-transformation of fitted log frequency ratios
// to frequencies with delta-method standard errors, and the two checks that
// decide whether an information matrix and its inverse are usable.
#pragma once

#include <vector>

#include "core/arrays.h"
#include "core/window.h"

inline constexpr double kEmTolerance = 0.0001;  // L1 change of the frequencies that ends the EM
inline constexpr int kEmMaxIterations = 500;
inline constexpr double kExplosionLarge = 1e6;   // a row with no entry below this in magnitude is unusable
inline constexpr double kExplosionSmall = 1e-6;  // so is a row whose absolute sum is below this
inline constexpr double kImproperVariance = 100.0;  // a variance this large or larger is not proper

// EM over w.list (study_switch 1) and/or w.list_ex (panel_switch 1); f[0..K-1] in/out.
// For the case-control design (w.design 1) only subjects whose STATUS (indexed by
// subject idx; unused otherwise) is s1 or s2 take part. Every subject or family
// taking part counts toward the number of haplotypes, even one without entries.
// Returns 1 when converged, 0 at the iteration cap. Each taking-part entry's weight
// is left at its posterior under the frequencies of the last E-step.
int A1(Window& w, double* f, int s1, int s2, int study_switch, int panel_switch, const int* STATUS);

// The study side of a tag-search estimate: distinct genotype rows, row r's pairs
// being (h1[p], h2[p]) for p = row_first[r] .. row_first[r+1]-1, and count[r]
// subjects having the row.
struct CountedRows {
  std::vector<int> h1, h2;
  std::vector<int> row_first{0};
  std::vector<int> count;
  void clear() {
    h1.clear();
    h2.clear();
    row_first.assign(1, 0);
    count.clear();
  }
};

// The EM of A1 over counted rows alone (the study switch on, the panel's off);
// f[0..K-1] in/out. Each iteration adds a row's expected counts once, times the
// row's count, rather than subject by subject, so its estimate agrees with A1's
// only to rounding: fit for comparing scores with a tolerance. Returns as A1
// does; leaves no weights.
int A1_counts(const CountedRows& rows, double* f, int K);

// Sum of absolute values of v[0..n-1].
double length(const double* v, int n);

// From fitted parameters theta (q coefficients, KK-1 log frequency ratios, then qq
// further parameters) and their inverse information V (1-based, dim x dim) to
// estimates and standard errors: coefficients, the KK frequencies with the
// reference first, then the qq further parameters. Reads q, KK (at least 1) and qq
// of w; dim is at least q + KK - 1 + qq; est and se hold q + KK + qq entries. Parameters after the qq block take
// part in the product J V J^T (with zero derivatives) but are not reported.
void orig_freq(const Window& w, double* est, double* se, const double* theta, const Mat<double>& V, int dim);

// 1 when some row of a[1..n][1..n] is unusable (all entries at least 1e6 in
// magnitude, a NaN absolute sum, or an absolute sum below 1e-6).
int explosion_E(const Mat<double>& a, int n);

// 1 when some diagonal entry of a[1..n][1..n] is 0, negative, or at least 100.
int inproper_std(const Mat<double>& a, int n);
