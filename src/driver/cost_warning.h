// What a model with DEPENDENT covariates will cost, said before the first SNP.
// Such a model weighs every distinct pattern of its covariates; a continuous
// covariate makes nearly every subject a pattern of its own, and the parameters,
// the information matrix and its inversion grow with the number of patterns.
#pragma once

#include <string>

#include "model/model.h"
#include "model/study.h"

// Patterns below this many draw no warning (their fits take a fraction of a second).
inline constexpr int kCostWarningPatterns = 100;

// Seconds per window of a dependence fit with P parameters: about
// kSecondsPerCubedParameter * P^3, the information matrix's profile runs and its
// inversion being the cubic steps. The constant is measured by `make bench` (the
// cohort case with a DEPENDENT covariate and a continuous one, its "P^3 constant").
inline constexpr double kSecondsPerCubedParameter = 6e-9;

// The estimate behind the warning: covariate patterns J, parameters per window P
// and seconds per window (all 0 without a DEPENDENT model covariate).
struct DependenceCost {
  int J = 0, P = 0;
  double seconds = 0.0;
};
DependenceCost dependence_cost(const Model& model, const StudyData& study);

// The "Warning: ..." line (with its newline) for a model with a DEPENDENT covariate
// whose subjects fall into kCostWarningPatterns or more covariate patterns; empty
// otherwise. Patterns and distinct values are counted over the used subjects as the
// design counts them (values within 1e-06 are one value), so they are what a window
// with every subject sees.
std::string dependence_cost_warning(const Model& model, const StudyData& study);
