// The case-control analysis with DEPENDENT covariates, opened up for checking: the
// model of one window with its precomputed design tables and the tables of the
// current parameter value, and the members of its likelihood family.
//
// Model. Controls carry the unordered pair (a, b) of retained haplotypes with
// Hardy-Weinberg probability c(a,b) f_a f_b, and stratum j given the pair with
// probability W[j][a][b] / S[a][b], W = exp(gamma_j + delta'D(j,a,b)) (D from
// Dvec), S the sum of W over the strata. Cases are tilted by exp(beta'Z(j,a,b))
// (Z from Zvec). Each status group is normalised over all strata and pairs.
//
// Parameter vector theta, 0-based, n = qq + q + KK + J - 2 entries:
//   0 .. q-1                  beta, the first q entries of Zvec
//   q .. q+KK-2               alpha_1 .. alpha_{KK-1}, log frequency ratios to
//                             the reference (retained position 0)
//   q+KK-1 .. q+KK-2+qq       delta, the dependence parameters in Dvec's order
//   q+KK-1+qq .. n-1          gamma_1 .. gamma_{J-1} (gamma_0 = 0)
// Information matrices over the same parameters are 1-based.
#pragma once

#include <vector>

#include "core/arrays.h"
#include "core/window.h"
#include "model/study.h"

// The E/M alternation ends when the observed objective changes by no more than
// this fraction between two outer iterations.
inline constexpr double kOuterRelativeChange = 1e-6;
// Safety cap on the outer iterations; reaching it ends the analysis as failed.
// Ordinary windows need well under a hundred.
inline constexpr int kMaxOuterIterations = 10000;

struct CCModel {
  CCModel(Window& win, const StudyData& sd, const int* map);

  // Sets w.qq = pD x G for G dependence haplotypes (hap_GOR[0..G-1]), the
  // parameter count n and the dependence entries of every cell.
  void set_dependence(int G);

  Window& w;
  const StudyData& study;
  const int* hapmap;  // haplotype code -> retained position
  int q = 0, KK = 0, J = 1, qq = 0;
  int n = 0;  // parameters
  int T = 0;  // unordered pairs a <= b of retained positions

  // Pairs of positions by triangle index t (a outer, b inner), and c(a,b).
  std::vector<int> ta, tb;
  std::vector<double> tc;
  std::vector<int> tri;  // KK x KK: triangle index of (a, b), a <= b

  // Design per cell (j, t), cell = j*T + t: the Zvec entries (stride zs) and the
  // qq dependence entries.
  int zs = 0;
  std::vector<double> Z, D;

  // Per study pair (aligned with w.list.pairs): its cell and c(h1,h2);
  // per subject: 1 case, 0 control.
  std::vector<int> pair_cell;
  std::vector<double> pair_c;
  std::vector<int> status;

  // Tables of the current parameter value (exp_eval_CC).
  Mat<double> P;             // P[a][b] = exp(alpha_a + alpha_b), a <= b
  double scale0 = 0.0, scale1 = 0.0;
  std::vector<double> E0, E1;  // per cell
  std::vector<double> logE0, logE1;  // their logarithms, for the expected objective
  std::vector<double> Wr;      // per cell: W[j][a][b] / S[a][b]
  std::vector<double> Dbar;    // per t: qq entries, the mean of D over the strata under Wr

  // Scratch of the derivative routines, sized once.
  std::vector<double> xbuf, mbuf, acc, ubar, Ccoef;

  // Derivative of log E_s at cell (j, t) with respect to theta, into out[0..n-1].
  void cell_x(int s, int j, int t, double* out) const;
};

// Recomputes P, scale0, W/S, Dbar, E0, E1 and scale1 at theta.
void exp_eval_CC(CCModel& m, const double* theta);

// E-step at the current tables: every study pair's analysis weight becomes its
// share c E_s[j][a][b] of the subject's sum; with the panel, link_eval_ext at P.
void link_eval_CC(CCModel& m);

// Expected objective with the weights fixed: n1 log scale1 + n0 log scale0 -
// sum over subjects and pairs of weight x log E_s, plus the panel's loglike_ext.
double loglike_CC(CCModel& m);

// Its exact gradient at the current tables (weights fixed), into g[0..n-1].
void dloglike_CC(CCModel& m, double* g);

// Observed objective at the current tables: n1 log scale1 + n0 log scale0 -
// sum over subjects of log(sum over pairs of c E_s), plus obs_loglike_ext.
double obs_loglike_CC(CCModel& m);

// The fit: E-step, quasi-Newton M-step (dfpmin_CC), until the observed objective
// changes relatively by at most kOuterRelativeChange. theta in: start, out: fit.
// Writes -objective and the outer iterations. 0 when kMaxOuterIterations pass.
int A5_v_CC(CCModel& m, double* theta, double* loglik, int* iter);

// The observed information at theta into I[1..n][1..n]: complete-data
// information minus the subject-wise missing information, plus the panel's
// Louis information. Refreshes the tables and the E-step at theta.
void A5_info_CC(CCModel& m, const double* theta, Mat<double>& I);

// A5_info_CC, checked by explosion_E, inverted by invv and checked by
// inproper_std; V receives the inverse. 1 when usable.
int A5_std_CC(CCModel& m, const double* theta, Mat<double>& V);
