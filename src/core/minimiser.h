// Variable-metric (BFGS) minimisation with a backtracking line search, the M-step
// of every likelihood analysis. One routine serves all analyses: each supplies its
// objective, its gradient and the refresh of its expected values, and the cohort
// analysis allows longer steps. The minimiser prints nothing and reports no
// failure; an analysis judges the outcome through its variance checks.
#pragma once

#include <functional>

// ---- Constants of the minimiser -------------------------------------------------
inline constexpr int kMinimiserMaxIterations = 100;
// Gradient convergence test and curvature guard of the inverse-Hessian update.
inline constexpr double kGradientTolerance = 3e-8;
// Step convergence test: 4 x kGradientTolerance.
inline constexpr double kStepTolerance = 4.0 * kGradientTolerance;
// Largest line-search step = scale x max(|p|, n) at the starting point p.
inline constexpr double kStepScale = 2.0;        // case-control and cross-sectional fits
inline constexpr double kStepScaleCohort = 5.0;  // cohort fit

// ---- Constants of the line search -----------------------------------------------
inline constexpr double kSufficientDecrease = 1e-4;     // Armijo factor
inline constexpr double kSmallestRelativeStep = 1e-6;   // over the largest relative component
inline constexpr double kObjectiveBound = 1e6;          // |f| at or above this is never accepted
inline constexpr double kBacktrackCap = 0.5;            // new step at most half the last one
inline constexpr double kBacktrackFloor = 0.1;          // new step at least a tenth of it

// What an analysis hands to the minimiser. Parameter and gradient vectors are
// 0-based with n entries.
//   objective(p)   : the value to be minimised at p, computed from the expected
//                    values last refreshed (it need not read p at all);
//   gradient(p, g) : writes the gradient at p into g[0..n-1];
//   expected(p)    : recomputes the analysis's expected values (tables, pair
//                    values) for the trial point p. The line search calls it
//                    before every objective evaluation and once more when it falls
//                    back to its starting point, so on return the expected values
//                    always belong to the point handed back.
struct MinimiserCallbacks {
  std::function<double(const double* p)> objective;
  std::function<void(const double* p, double* g)> gradient;
  std::function<void(const double* p)> expected;
};

// Backtracking line search from xold along the direction xi (n entries).
// xi is first shortened to length stpmax if it is longer; then the trial steps
// alam = 1, then backtracking: quadratic interpolation on the first backtrack,
// cubic afterwards, each new step between a tenth and a half of the previous
// one. A trial x = xold + alam xi is accepted when |f| < kObjectiveBound
// and f <= fold + kSufficientDecrease alam slope, slope = g . xi (its sign is not
// checked); a NaN objective is never accepted. When alam falls below
// kSmallestRelativeStep / max_i(|xi_i| / max(|xold_i|, 1)), x is set back to xold,
// the expected values are refreshed at xold and f keeps the last trial objective
// (unchanged if there was no trial, as for a zero direction).
// Outputs: x[0..n-1] and f.
void lnsrch(int n, const double* xold, double fold, const double* g, double* xi, double* x, double& f,
            double stpmax, const MinimiserCallbacks& cb);

// BFGS minimisation of cb.objective over p[0..n-1] (in: the start, out: the last
// point reached). The objective is evaluated at the start WITHOUT refreshing the
// expected values: the caller must have refreshed them at p. Ends when the
// relative step max_i |dp_i| / max(|p_i|, 1) is below kStepTolerance, when the
// relative gradient max_i |g_i| max(|p_i|, 1) / max(f, 1) is below
// kGradientTolerance, or silently after kMinimiserMaxIterations iterations.
// fret receives the objective the last line search returned (the start value if
// the first line search made no trial); iter the number of the last iteration
// begun (1 .. kMinimiserMaxIterations).
void dfpmin(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb,
            double step_scale = kStepScale);

// The analyses' minimisers under their own names.
inline void dfpmin_CC(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb) {
  dfpmin(p, n, fret, iter, cb, kStepScale);
}
inline void dfpmin_CO(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb) {
  dfpmin(p, n, fret, iter, cb, kStepScaleCohort);
}
inline void dfpmin_CS(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb) {
  dfpmin(p, n, fret, iter, cb, kStepScale);
}
inline void dfpmin_CS_pl(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb) {
  dfpmin(p, n, fret, iter, cb, kStepScale);
}
