#include "driver/cost_warning.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "design/columns.h"
#include "design/readin.h"

namespace {

// Distinct patterns of the given covariates over the used subjects, by the
// design's rule (values within kPatternTolerance are one value; a subject joins the
// first pattern that matches). The columns go most spread first, so that the
// table's index on the first value narrows each search.
int count_patterns(const StudyData& study, const std::vector<int>& columns) {
  PatternTable table;
  table.m = static_cast<int>(columns.size());
  std::vector<double> v(columns.size());
  for (int i = 0; i < study.n; i++) {
    for (std::size_t k = 0; k < columns.size(); k++) v[k] = study.covariate(i, columns[k]);
    if (find_pattern(table, v.data(), kPatternTolerance) < 0) table.add(v.data());
  }
  return table.J;
}

std::string format_seconds(double s) {
  char buf[64];
  if (s < 10.0)
    std::snprintf(buf, sizeof buf, "%.1f", s);
  else
    std::snprintf(buf, sizeof buf, "%.0f", s);
  return buf;
}

}  // namespace

namespace {

bool has_dependent(const Model& model, const std::vector<int>& cols) {
  for (int k : cols)
    if (model.dep[static_cast<std::size_t>(k)] == 'D') return true;
  return false;
}

// The model covariates with their numbers of distinct values, most first.
std::vector<std::pair<int, int>> spread_of(const StudyData& study, const std::vector<int>& cols) {
  std::vector<std::pair<int, int>> spread;  // distinct values, covariate
  for (int k : cols) spread.push_back({count_patterns(study, {k}), k});
  std::stable_sort(spread.begin(), spread.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  return spread;
}

}  // namespace

DependenceCost dependence_cost(const Model& model, const StudyData& study) {
  DependenceCost cost;
  const std::vector<int> cols = model_covariates(model);
  if (!has_dependent(model, cols)) return cost;
  std::vector<int> ordered;
  for (const auto& [values, k] : spread_of(study, cols)) ordered.push_back(k);
  cost.J = count_patterns(study, ordered);
  // Parameters per window: the J - 1 pattern weights and, for a typical window of
  // 6 retained haplotypes, 5 frequency ratios, up to 5 dependence parameters per
  // dependent covariate and the regression coefficients (one per model term).
  int terms = 0;
  for (int i = 0; i < model.p + model.pH; i++)
    for (int k = i; k < model.p + model.pH; k++)
      if (model.effect[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] > 0) terms++;
  int dependents = 0;
  for (int k : cols)
    if (model.dep[static_cast<std::size_t>(k)] == 'D') dependents++;
  cost.P = (cost.J - 1) + 5 + 5 * dependents + terms;
  cost.seconds = kSecondsPerCubedParameter * static_cast<double>(cost.P) * cost.P * cost.P;
  return cost;
}

std::string dependence_cost_warning(const Model& model, const StudyData& study) {
  const DependenceCost cost = dependence_cost(model, study);
  if (cost.J < kCostWarningPatterns) return "";
  const std::vector<int> cols = model_covariates(model);

  // The covariates whose values make the patterns: the continuous ones, with their
  // numbers of distinct values, most first.
  std::string causes, first;
  for (const auto& [values, k] : spread_of(study, cols)) {
    if (values < 2 || model.categorical[static_cast<std::size_t>(k)]) continue;
    const std::string& name = model.names[static_cast<std::size_t>(k)];
    if (first.empty()) first = name;
    causes += (causes.empty() ? "" : ", ") + name + " with " + std::to_string(values) + " distinct values";
  }
  std::string dependents;
  for (int k : cols)
    if (model.dep[static_cast<std::size_t>(k)] == 'D')
      dependents += (dependents.empty() ? "" : ", ") + model.names[static_cast<std::size_t>(k)];

  std::string line = "Warning: the model's covariates form J = " + std::to_string(cost.J) + " covariate patterns";
  if (!causes.empty()) line += " (" + causes + ")";
  line += ", and with the DEPENDENT covariate " + dependents + " every window fits about " + std::to_string(cost.P) +
          " parameters (the patterns' weights included), estimated at " + format_seconds(cost.seconds) +
          " s per window; to run faster, ";
  if (!first.empty()) line += "group " + first + " into a few levels and declare it CATEGORICAL, or ";
  line += "drop " + dependents + " from DEPENDENT.\n";
  return line;
}
