// The damped Newton fit shared by the case-control analyses that use the exact
// observed information: full Newton steps from the frequency start values, step
// halving until the objective decreases, and the failure rules (an unusable
// information or inverse, no decrease with a negligible step on the first KK
// entries, the 500th step, improper variances).
#pragma once

#include <utility>
#include <vector>

#include "core/arrays.h"
#include "core/failreason.h"
#include "core/freq.h"
#include "core/linalg.h"

inline constexpr double kNewtonStepTolerance = 0.0001;  // L1 length of a negligible Newton step
inline constexpr int kMaxNewtonSteps = 500;

struct NewtonFit {
  std::vector<double> theta;  // the fitted parameters
  Mat<double> Hinv;           // inverse of the observed information at the last Newton step
  double f = 0.0;             // objective at the last Newton step
  int iter = 0;               // Newton steps taken
  Check fail = Check::kNone;  // the check that failed the fit
};

inline int newton_fails(NewtonFit& fit, Check check) {
  fit.fail = check;
  return 0;
}

// Fits from theta (P entries). derivatives(theta, g, H) returns the objective at
// theta and fills its gradient g (0-based) and Hessian H (1-based, both
// triangles); objective(theta) returns the objective alone. A trial whose
// objective is not a number counts as no decrease when nan_is_no_decrease is set.
// Returns 1 on success, 0 on failure (fit then partly filled).
template <class Derivatives, class Objective>
int damped_newton(std::vector<double> theta, int KK, Derivatives&& derivatives, Objective&& objective,
                  bool nan_is_no_decrease, NewtonFit& fit) {
  const int P = static_cast<int>(theta.size());
  std::vector<double> trial(theta.size()), delta(theta.size(), 0.0), g(theta.size());
  delta[0] = 1.0;
  Mat<double> H = dmatrix(1, P, 1, P);
  const int first = KK < P ? KK : P;
  auto no_decrease = [&](double f, double f_trial) { return nan_is_no_decrease ? !(f_trial < f) : f <= f_trial; };
  int count = 0;
  double f = 0.0;
  while (length(delta.data(), P) > kNewtonStepTolerance && count <= kMaxNewtonSteps - 1) {
    f = derivatives(theta.data(), g.data(), H);
    if (explosion_E(H, P)) return newton_fails(fit, Check::kExplosionBefore);
    invv(H, P);
    if (explosion_E(H, P)) return newton_fails(fit, Check::kExplosionAfter);
    for (int i = 0; i < P; i++) {
      double d = 0.0;
      for (int j = 0; j < P; j++) d -= H[i + 1][j + 1] * g[j];
      delta[i] = d;
    }
    count++;
    fit.iter = count;
    if (length(delta.data(), P) < kNewtonStepTolerance) {
      for (int i = 0; i < P; i++) theta[i] += delta[i];
      break;
    }
    // Step halving from the full Newton step until the objective decreases.
    for (int i = 0; i < P; i++) delta[i] *= 2.0;
    double f_trial;
    do {
      for (int i = 0; i < P; i++) {
        delta[i] /= 2.0;
        trial[i] = theta[i] + delta[i];
      }
      f_trial = objective(trial.data());
    } while (no_decrease(f, f_trial) && length(delta.data(), P) > kNewtonStepTolerance);
    if (no_decrease(f, f_trial) && length(delta.data(), first) <= kNewtonStepTolerance)
      return newton_fails(fit, Check::kNoDecrease);
    theta = trial;
  }
  if (count == kMaxNewtonSteps) return newton_fails(fit, Check::kFitCap);
  fit.f = f;
  fit.theta = theta;
  if (inproper_std(H, P)) return newton_fails(fit, Check::kImproperStd);
  fit.Hinv = std::move(H);
  return 1;
}
