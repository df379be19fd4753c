// The unordered pairs a <= b of a window's retained haplotype positions, numbered
// t = 0, 1, ... with a ascending and then b, as the case-control analyses tabulate
// them, and the Hardy-Weinberg factor of a pair (2 for two different haplotypes).
#pragma once

#include <cstddef>
#include <vector>

inline double pair_factor(int a, int b) { return a == b ? 1.0 : 2.0; }

// Fills ta[t], tb[t] and tc[t] (positions and factor of pair t, KK(KK+1)/2 pairs)
// and tri[a * KK + b] = t for a <= b (-1 below the diagonal).
inline void pair_triangle(int KK, std::vector<int>& ta, std::vector<int>& tb, std::vector<double>& tc,
                          std::vector<int>& tri) {
  const std::size_t T = static_cast<std::size_t>(KK * (KK + 1) / 2);
  ta.resize(T);
  tb.resize(T);
  tc.resize(T);
  tri.assign(static_cast<std::size_t>(KK * KK), -1);
  std::size_t t = 0;
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++, t++) {
      ta[t] = a;
      tb[t] = b;
      tc[t] = pair_factor(a, b);
      tri[static_cast<std::size_t>(a * KK + b)] = static_cast<int>(t);
    }
}
