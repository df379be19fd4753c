// The two loops the haplotype analyses with covariates share: the outer E/M
// iteration, which alternates an E-step and a quasi-Newton M-step until the
// observed log-likelihood settles, and the refits with one dependence haplotype
// fewer while a fit's covariance is unusable.
#pragma once

#include <cmath>

// How the outer iteration stops: on the relative change |(new - old) / old| of the
// observed value, continuing while it is above tolerance (strict, the
// case-control analysis) or at least the tolerance (the cohort and
// cross-sectional analyses); a safety stop after cap iterations.
struct OuterStop {
  double tolerance;
  bool strict;
  int cap;
};

// Starts from new = 2, old = 1 (so the first test passes); each iteration runs
// step() (E-step and M-step) and then takes the observed value from observe().
// Returns the iterations made, or -1 at the safety stop; value receives the last
// observed value.
template <class Step, class Observe>
int outer_em(const OuterStop& stop, Step step, Observe observe, double& value) {
  double v_new = 2.0, v_old = 1.0;
  int count = 0;
  for (;;) {
    const double change = std::fabs((v_new - v_old) / v_old);
    if (stop.strict ? !(change > stop.tolerance) : !(change >= stop.tolerance)) break;
    if (count == stop.cap) return -1;
    step();
    v_old = v_new;
    v_new = observe();
    count++;
  }
  value = v_new;
  return count;
}

// Fits with ndep, ndep - 1, ..., 1 dependence haplotypes until one gives a usable
// covariance. fit(ndep) returns 1 (usable), 0 (unusable: try one fewer) or -1
// (stop). Without dependent design columns (pD 0) every refit would be the same
// fit, so there is one. Returns 1 when a fit was usable, else 0.
template <class Fit>
int fewer_dependence_haplotypes(int ndep, int pD, Fit fit) {
  int ok = 0;
  for (bool first = true; ok == 0 && ndep > 0 && (first || pD > 0); first = false) {
    ok = fit(ndep);
    ndep--;
  }
  return ok == 1 ? 1 : 0;
}
