// Complete-data analyses of one study SNP on the subjects typed at it: logistic
// regression for case-control data, Cox proportional hazards (Breslow ties) for
// cohort data, least squares for a cross-sectional trait. The design vector of a
// subject is Zvec's for a one-SNP window, so the coefficients come in Zvec's order:
// genetic terms, covariate terms and products, covariate-by-genetic products,
// then the intercept (none in the cohort design).
#pragma once

#include <vector>

#include "core/window.h"
#include "model/model.h"
#include "model/study.h"

inline constexpr double kNewtonTolerance = 0.0001;   // L1 length of a Newton step that ends a fit
inline constexpr int kLogisticMaxIterations = 10000;  // safety stop: a logistic fit this long has failed
inline constexpr int kCoxMaxIterations = 200;         // reaching it fails the fit, even when converging on it

// Fits the design's regression for SNP snp on the subjects whose genotype there
// is not missing. w is the caller's window: it is reduced to the SNP alone
// (M = 1) for the call, its design built by readinXV, and its size restored on
// return; its list, table and design matrices are released, the design names kept.
// A cross-sectional trait is taken from study.TRAIT_raw when raw_trait is set
// (the first design of a run), else from study.TRAIT. est and se are resized to
// the coefficient count q. Returns 1 when the fit succeeded, 0 when it failed
// (also when nobody is typed at the SNP).
int stan_single(std::vector<double>& est, std::vector<double>& se, const StudyData& study, int snp, const Model& model,
                Window& w, bool raw_trait = false);

// The fits read the subjects, their patterns and single diplotypes from w.list and
// the design from w (q coefficients); outcomes are indexed by subject idx. Each
// fills est[0..q-1] and se[0..q-1] and returns 1, or returns 0 when the
// information or its inverse is unusable (explosion_E, inproper_std).

// Logistic regression by Newton-Raphson from 0; standard errors from the inverse
// information at the coefficients before the last step. Also fails after
// kLogisticMaxIterations steps without convergence.
int LG(const Window& w, std::vector<double>& est, std::vector<double>& se, const int* status);

// Cox regression by Newton-Raphson with Breslow's treatment of tied failure
// times; groups the subjects into w.Fp with makeFlist. Fails unless the step
// falls to kNewtonTolerance within kCoxMaxIterations - 1 iterations.
int PH(Window& w, std::vector<double>& est, std::vector<double>& se, const double* time, const int* event);

// Ordinary least squares; residual variance over n_new - q degrees of freedom.
int LS(const Window& w, std::vector<double>& est, std::vector<double>& se, const double* trait);
