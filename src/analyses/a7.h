// Cross-sectional haplotype analyses, opened up for checking: the working state of
// one window's fit and the likelihood family that both analyses share.
//
// Model. Subject i (covariate pattern j_i, trait y_i) carries the unordered pair
// (a, b) of retained haplotypes with a pair value
//   v = exp(g + alpha_a + alpha_b)                                  (no dependence)
//   v = exp(g + alpha_a + alpha_b + eta.D(j_i,a,b) + gamma_j_i) / SW(a,b)
//                                                                 (with dependence)
// where g is the log density of the trait given the pair's design vector Z:
//   binary      g = y eta - log(1 + exp(eta)),  eta = beta.Z (q entries)
//   continuous  g = -(y - mu)^2 / (2 s2) - log(s2) / 2,  mu = beta.Z (q-1 entries),
//               s2 = exp(theta[q-1]), no constant term;
// D(j,a,b) holds the dependence entries (pattern j's dependent columns times the
// count of each dependence haplotype in the pair), W_j(a,b) = exp(gamma_j +
// eta.D(j,a,b)) and SW(a,b) = sum_j W_j(a,b). The subject's likelihood is
// V_i / U with V_i = sum over its pairs of c v (c = 2 for a != b, else 1) and
// U = sum_{a<=b} c exp(alpha_a + alpha_b).
//
// Parameter vector (0-based): beta (q; for a continuous trait the last is the log
// error variance), alpha_1..alpha_{KK-1}, eta (qq), gamma_1..gamma_{J-1}.
//
// Pair storage: PairNode::aw is the posterior weight of the E-step, PairNode::work
// the log pair value; SubjectNode::work is log V_i. Subject totals and weights are
// formed relative to the subject's largest log pair value, so that a subject whose
// pair values all underflow keeps finite weights; the values are those of the
// plain sums up to rounding.
#pragma once

#include <vector>

#include "core/arrays.h"
#include "core/window.h"
#include "model/study.h"

inline constexpr double kCsTolerance = 1e-6;         // relative change of the log-likelihood that ends a loop
inline constexpr int kCsMaxFitIterations = 10000;    // safety stop of the fitting loop: the analysis fails
inline constexpr int kCsMaxProfilePasses = 10000;    // safety stop of the pattern-weight profile: fails too
// The pattern-weight profile starts with L = 1.0 and this remembered value, a
// relative change of 0.5, so that its first pass always runs.
inline constexpr double kCsProfileFirstRemembered = 2.0;

struct CsState {
  Window& w;
  const StudyData& study;
  const int* hapmap;
  bool dependence = false;  // pattern weights and dependence parameters enter the pair values
  bool binary = false;
  int q = 0, KK = 0, qq = 0, J = 1, G = 0;
  int nz = 0;        // design entries per pair (q binary, q-1 continuous)
  int ngamma = 0;    // pattern weights in the parameter vector
  int P = 0;         // all parameters
  int Pinfo = 0;     // beta, alpha, eta: the parameters of the information
  int off_eta = 0, off_gamma = 0;
  int nsub = 0;
  const char* stage = "";  // the analysis, named in failure reasons

  // Per subject (list order) and per pair (list order), fixed for the window.
  std::vector<double> y;
  std::vector<int> pat;
  std::vector<int> pa, pb;   // retained positions a <= b
  std::vector<double> cf;    // 1 or 2
  std::vector<double> Z;     // nz per pair: the design vector of the subject's pattern
  bool consistent = true;    // every design vector had nz entries

  // Values at the point of the last exp_eval_CS.
  std::vector<double> alpha;  // KK, alpha_0 = 0
  Mat<double> E;              // exp(alpha_a + alpha_b), a <= b
  double U = 0.0;
  // Dependence coding of the pair (a,b): entries dep_first[ab] .. dep_first[ab+1]-1
  // name the dependence haplotypes g it holds and their copies.
  std::vector<int> dep_first, dep_g;
  std::vector<double> dep_cnt;
  std::vector<double> etaD;   // J x KK x KK: eta.D(j,a,b)
  std::vector<double> W;      // J x KK x KK
  std::vector<double> SW, logSW;  // KK x KK
  std::vector<double> lin;    // per pair: linear predictor
  std::vector<double> fixed;  // per pair: g + alpha_a + alpha_b (+ eta.D)
  std::vector<double> ell;    // per subject: log V_i - log U
  std::vector<double> gamma;  // the profile's pattern weights (ngamma)

  // Gradient scratch.
  std::vector<double> Wsum;   // KK x KK: posterior weight per pair of positions
  std::vector<double> Wpat;   // J x KK x KK: the same per pattern
  std::vector<double> R;      // J x KK x KK
  std::vector<double> eta_acc;  // qq

  // Builds the per-pair tables for the window. dependence: the model of the
  // DEPENDENT case (then qq must be set with set_qq before use); ngamma: the
  // number of pattern weights in the parameter vector.
  CsState(Window& win, const StudyData& sd, const int* map, bool dep, int n_gamma);
  // Sets qq = pD x ndep (dependence haplotypes hap_GOR[0..ndep-1]) and the sizes.
  void set_qq(int qq_new);
  int tri(int a, int b) const { return a * KK + b; }
  int pjab(int j, int a, int b) const { return (j * KK + a) * KK + b; }
};

// theta[0..P-1] to the start values: 0, except the log frequency ratios
// log(freq[hap_freq[k]] / freq[hap_freq[0]]).
void cs_start(const CsState& st, const double* freq, double* theta);

// Pair values at theta: E, U, pattern weights, per-pair linear predictor, fixed
// part and log pair value.
void exp_eval_CS(CsState& st, const double* theta);
// E-step at the current pair values: posterior weights, log V_i; the panel's
// weights when it takes part.
void link_eval_CS(CsState& st);
// M-step objective n_new log U - sum_i sum_pairs w log v (+ the panel's expected
// negative log-likelihood) at the current pair values.
double loglike_CS(CsState& st);
// Its gradient with the weights fixed, all P entries, at the point of the last
// exp_eval_CS (theta must be that point).
void dloglike_CS(CsState& st, const double* theta, double* g);
// Observed log-likelihood sum_i log V_i - n_new log U (+ the panel's
// log-likelihood); refreshes log V_i and ell.
double obs_loglike_CS(CsState& st);

// The profile over the pattern weights gamma (J-1 entries) with beta, alpha, eta
// fixed at the last exp_eval_CS.
void exp_eval_CS_pl(CsState& st, const double* gamma);
void link_eval_CS_pl(CsState& st);
double loglike_CS_pl(CsState& st);
void dloglike_CS_pl(CsState& st, const double* gamma, double* g);

// Fitting loop: E-step, quasi-Newton M-step over all P parameters, until the
// observed log-likelihood changes by less than kCsTolerance relatively. Returns 1,
// or 0 when kCsMaxFitIterations iterations did not settle it.
int A7_v_CS(CsState& st, double* theta, double* loglik, int* iter);
// Profile log-likelihood over gamma at theta (theta unchanged); refreshes ell.
// Returns 1, or 0 after kCsMaxProfilePasses passes.
int A7_pl_CS_qnr(CsState& st, const double* theta, double* L);
