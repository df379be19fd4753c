// The external reference panel's part of every haplotype analysis. Panel trios,
// duos and singletons inform the haplotype frequencies only; the analyses add the
// panel's E-step, its expected and observed negative log-likelihoods, the gradient
// of the expected one, and its observed information by Louis' method.
//
// Common arguments:
//   P       pair matrix over retained positions [0, KK-1] x [0, KK-1]; only the
//           upper triangle P[a][b], a <= b, is read. P[a][b] is the unnormalised
//           probability of the unordered pair (a, b), and P[a][a] the square of
//           the unnormalised frequency of a (duos use its square root). The
//           gradient and information below assume P[a][b] = exp(alpha_a + alpha_b)
//           with alpha_0 = 0.
//   scale   the normaliser sum_{a<=b} c(a,b) P[a][b], c = 1 on the diagonal, else 2.
//   hapmap  haplotype code -> retained position (0 = the reference haplotype).
//           An entry's haplotypes h1, h2 are looked up as
//           P[min(hapmap[h1], hapmap[h2])][max(...)].
// Parameters: the frequency parameter alpha_a of position a > 0 is entry
// w.q + a - 1 of a 0-based parameter or gradient vector, and row/column w.q + a
// of a 1-based information matrix. The reference position has no parameter.
//
// Objectives are minimised, so the functions ADD negative log-likelihoods.
// All functions walk w.list_ex in its stored order and print nothing.
#pragma once

#include "core/arrays.h"
#include "core/window.h"

// Independent haplotype pairs per family type: a duo is one parental pair and one
// further haplotype.
inline constexpr double kTrioPairs = 2.0;
inline constexpr double kDuoPairs = 1.5;
inline constexpr double kSingletonPairs = 1.0;

// N_ext = 2 nTR_new + 1.5 nDU_new + nUN_new from the counts left in w by the
// last link_eval_ext.
double ext_pairs(const Window& w);

// Panel E-step: recounts w.nTR_new, w.nDU_new, w.nUN_new and sets every entry's
// weight to its term over the family's sum of terms, with
//   trio       c(h1,h2) c(h3,h4) P[h1 h2] P[h3 h4]
//   duo        c(h1,h2) P[h1 h2] sqrt(P[h3 h3])
//   singleton  c(h1,h2) P[h1 h2]
// and c(x,y) = 1 when x = y, else 2. A family whose terms sum to 0 gets NaN weights.
void link_eval_ext(Window& w, const Mat<double>& P, const int* hapmap);

// The routines below read the family counts of the last link_eval_ext, which
// must have run since the panel list was last changed.

// f += N_ext log(scale) - sum over entries of weight x log(term without c).
void loglike_ext(const Window& w, double& f, const Mat<double>& P, double scale, const int* hapmap);

// g += gradient of loglike_ext's term with the weights held fixed: for every pair
// a <= b, N_ext P[a][b] / scale (doubled off the diagonal) to the entries of a and
// of b; then minus each entry's weight once per haplotype it holds (h1..h4 trio,
// h1..h3 duo, h1,h2 singleton). g is 0-based.
void dloglike_ext(const Window& w, double* g, const Mat<double>& P, double scale, const int* hapmap);

// f += N_ext log(scale) - sum over families of log(sum of the family's terms).
void obs_loglike_ext(const Window& w, double& f, const Mat<double>& P, double scale, const int* hapmap);

// I += the complete-data information of the frequency parameters, the second
// derivatives of N_ext log(scale):
//   2 N_ext (pi_k delta_kl - pi_k pi_l),  pi_k = sqrt(P[k][k]) / sqrt(scale),
// for k, l = 1 .. KK-1. I is 1-based; the whole symmetric block, rows and
// columns w.q+1 .. w.q+KK-1, is filled (both triangles).
void ddloglike_ext(const Window& w, Mat<double>& I, double N_ext, const Mat<double>& P, double scale);

// I += the panel's observed information by Louis' method at the current weights:
// forms scale = sum_{a<=b} c(a,b) P[a][b], adds ddloglike_ext with ext_pairs(w),
// then subtracts for every family the weighted covariance E[s s'] - E[s] E[s]' of
// the entry's count vector s (s_k = occurrences of position k >= 1 among the
// entry's haplotypes). Call after link_eval_ext at the same P. Fills the whole
// symmetric block, both triangles, and touches nothing else.
void Louis_ext(const Window& w, Mat<double>& I, const Mat<double>& P, const int* hapmap);
