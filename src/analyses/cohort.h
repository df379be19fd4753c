// The cohort haplotype analyses opened up for checking: proportional hazards with
// an unspecified baseline hazard (one jump per distinct failure time) when each
// subject's haplotype pair is unobserved, the pairs following Hardy-Weinberg
// frequencies and, in the analysis with DEPENDENT covariates, the covariate
// pattern depending on the pair through log-linear weights.
//
// Parameter vector theta (0-based, P entries): q coefficients beta (Zvec's order),
// KK-1 log frequency ratios alpha_k = log(f_k / f_0) of the retained haplotypes
// (alpha_0 = 0), then with the dependence part qq parameters eta (Dvec's order)
// and J-1 pattern weights gamma_1..gamma_(J-1) (gamma_0 = 0).
//
// The routines work on the failure-time table w.Fp built by makeFlist: cumhaz of
// record t holds Lambda_t, risksum holds S_t; the baseline jumps lambda_t live in
// CohortWork. The pairs are walked in table order (record 0's chain first, each
// subject's pairs in list order) from packed copies; the E-step also writes each
// pair's posterior weight into its aw slot.
//
// A pair of retained positions a <= b (of a subject with pattern j) is a "cell";
// the cell's design vector Z, relative risk r = exp(beta'Z) and haplotype factor
// E(a,b) [W_j(a,b) / SumW(a,b)] are tabulated once per parameter value, so the
// per-pair work in the loops is table look-ups.
//
// A failure that the table had to place in record 0 (before the first failure
// time, within the tie tolerance) enters the haplotype part only: its event
// indicator is taken as 0 there, since record 0 has no baseline jump.
#pragma once

#include <vector>

#include "core/arrays.h"
#include "core/window.h"
#include "model/study.h"

inline constexpr double kCohortFitTolerance = 1e-6;       // relative change of the log-likelihood ending the fit
inline constexpr double kCohortProfileTolerance = 0.0001;  // L1 change of the baseline jumps ending a profile
inline constexpr int kCohortMaxFitIterations = 10000;      // safety stop of the fitting loop: the analysis fails
inline constexpr int kCohortMaxProfileIterations = 10000;  // safety stop of one profile: the analysis fails

struct CohortWork {
  const int* hapmap = nullptr;
  bool dependence = false;  // pattern weights W_j(a,b) / SumW(a,b) in the model
  int q = 0, KK = 0, J = 0, qq = 0, P = 0, T = 0;
  int n_new = 0;

  // Subjects in table order: chain of record 0, then record 1, ..., record T.
  // Chain t is walk[start[t] .. start[t+1]-1]; walk holds list positions.
  std::vector<int> walk, start;
  std::vector<unsigned char> event;  // per walk entry: 1 for a failure counted in a record t >= 1
  std::vector<double> log_d;         // log d_t, t = 0..T

  // Their pairs in the same order: walk entry k owns packed pairs first[k] .. first[k+1]-1.
  std::vector<int> first;
  std::vector<int> pair_index;  // position in w.list.pairs
  std::vector<int> pair_cell;
  std::vector<double> weight;   // posterior weight of the last E-step

  // Cells and their tables.
  std::vector<int> cell_j, cell_a, cell_b;
  std::vector<double> cell_c;     // 1 when a = b, else 2
  std::vector<double> cell_Z;     // q entries per cell
  std::vector<double> cell_lp;    // beta'Z
  std::vector<double> cell_r;     // exp(beta'Z)
  std::vector<double> cell_base;  // E(a,b) [W_j(a,b) / SumW(a,b)]
  std::vector<double> cell_logbase;

  // Haplotype tables: E(a,b) = exp(alpha_a + alpha_b) and U for a <= b; with the
  // dependence part W_j(a,b) = exp(gamma_j + eta'D), their sum over j, and D.
  Mat<double> E;
  double U = 0.0;
  Arr3<double> W;          // J x KK x KK
  Mat<double> SW;          // KK x KK
  Arr3<double> SWthrough;  // J x KK x KK: the sum of W over patterns 0..j
  std::vector<double> D;   // ((j * KK + a) * KK + b) * qq + m

  // The parameters the tables above were last evaluated at (see exp_eval_CO).
  bool tables_valid = false;
  std::vector<double> tables_at;
  std::vector<unsigned char> pattern_moved;

  std::vector<double> lambda;  // baseline jumps, 0..T (lambda_0 = 0)
  std::vector<double> ell;     // per list position: subject's observed log-likelihood

  // The last E-step's weights summed per cell: all of them, and those of failures.
  std::vector<double> cell_A, cell_Aev;

  // Scratch of the gradient and the profile, sized once.
  std::vector<double> S1, pos_A, dU, delta_lambda, previous;
  std::vector<double> score;  // the information's profile scores, P rows of n
};

// After makeFlist: the table walk, the event indicators and the cells of the
// listed pairs (their design vectors from Zvec). dependence selects the pattern
// weights. Sets qq = 0; call set_dependence for a dependence part.
void prepare_cohort(Window& w, const StudyData& study, const int* hapmap, bool dependence, CohortWork& cw);

// qq dependence parameters (w.qq too): the parameter count P and, with the
// dependence part, the tables W, SumW and D (from Dvec).
void set_dependence(Window& w, CohortWork& cw, int qq);

// Start values: beta 0, alpha from the frequencies by code, eta and gamma 0;
// baseline jumps d_t / R_t with R_t the subjects in records t..T.
void start_values(const Window& w, CohortWork& cw, const double* freq, double* theta);

// E, U, W, SumW and every cell's r and haplotype factor at theta.
void exp_eval_CO(const Window& w, CohortWork& cw, const double* theta);
// E-step: pair weights exp(-Lambda_t r) r^delta E(a,b) [W/SumW], doubled off the
// diagonal, normalised per subject, and their sums per cell; the panel's weights
// with link_eval_ext.
void link_eval_CO(Window& w, CohortWork& cw);
// Risk sums S_t = S_(t+1) + sum over chain t of w r, t = T..1; S_0 = 1.
void ford_eval_CO(Window& w, const CohortWork& cw);
// lambda_t = d_t / S_t, t = 1..T.
void lam_eval_CO(const Window& w, CohortWork& cw);
// Lambda_0 = 0, Lambda_t = Lambda_(t-1) + lambda_t.
void back_eval_CO(Window& w, const CohortWork& cw);
// M-step objective with the baseline profiled out (weights fixed):
// n_new log U + sum_t d_t (log S_t - log d_t) - sum of w log(r^delta E [W/SumW]),
// plus the panel's loglike_ext.
double loglike_CO(const Window& w, const CohortWork& cw);
// Its exact gradient with the weights of the last link_eval_CO held fixed;
// g[0..P-1] is overwritten.
void dloglike_CO(const Window& w, CohortWork& cw, double* g);
// Observed log-likelihood sum_i log L_i - n_new log U plus the panel's
// log-likelihood, L_i = sum c (lambda_t / d_t r)^delta exp(-Lambda_t r) E [W/SumW];
// ell receives log L_i - log U per subject.
double obs_loglike_CO(Window& w, CohortWork& cw);

// EM-type fit from theta and the current jumps: E-step, ford_eval_CO, BFGS
// M-step (cohort step scale), new jumps, until the relative change of the
// observed log-likelihood is below kCohortFitTolerance. Writes the last
// log-likelihood and the iteration count; 0 at the safety stop.
int A6_v_CO(Window& w, CohortWork& cw, double* theta, double* loglik, int* iter);
// Profile over the baseline at fixed theta, from the current jumps; l receives
// the profile log-likelihood and ell the subjects' terms. 0 at the safety stop.
int A6_pl_CO(Window& w, CohortWork& cw, const double* theta, double& l);
// Information over all P parameters at the fit: the panel's Louis information
// (ext 1), then the cross-products of the subjects' profile scores by forward
// differences of step 1/n_new. I is 1-based P x P. theta is restored on return
// up to the rounding of adding and removing the step. 0 at a profile's safety stop.
int A6_information_CO(Window& w, CohortWork& cw, double* theta, Mat<double>& I);
