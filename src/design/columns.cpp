#include "design/columns.h"

#include <cmath>
#include <utility>

std::vector<int> model_covariates(const Model& model) {
  std::vector<int> out;
  for (int i = 0; i < model.p; i++)
    if (model.effect[i][i] > 0) out.push_back(i);
  return out;
}

int PatternTable::add(const double* v) {
  values.insert(values.end(), v, v + m);
  if (m > 0 && !std::isnan(v[0])) by_first.emplace(v[0], J);
  return J++;
}

int find_pattern(const PatternTable& table, const double* values, double tol) {
  if (table.m == 0) return table.J > 0 ? 0 : -1;
  if (std::isnan(values[0])) return -1;  // a missing value equals nothing
  // Only patterns whose first value is near enough can match; the exact test
  // below decides, and the lowest index among the matches wins.
  int best = -1;
  auto end = table.by_first.upper_bound(values[0] + 2 * tol);
  for (auto it = table.by_first.lower_bound(values[0] - 2 * tol); it != end; ++it) {
    const int j = it->second;
    if (best >= 0 && j > best) continue;
    const double* r = table.row(j);
    bool same = true;
    for (int k = 0; k < table.m && same; k++)
      if (!(std::fabs(values[k] - r[k]) < tol)) same = false;
    if (same) best = j;
  }
  return best;
}

DesignColumns design_columns(const Model& model, const std::vector<int>& covariates, const PatternTable& patterns) {
  DesignColumns cols;
  cols.covariate = covariates;
  const int m = static_cast<int>(covariates.size());
  cols.levels.resize(static_cast<std::size_t>(m));
  for (int k = 0; k < m; k++) {
    const int i = covariates[static_cast<std::size_t>(k)];
    if (model.categorical[static_cast<std::size_t>(i)] != 1) continue;
    std::vector<double>& lv = cols.levels[static_cast<std::size_t>(k)];
    // Distinct values in order of first appearance ...
    for (int j = 0; j < patterns.J; j++) {
      const double v = patterns.row(j)[k];
      bool fresh = true;
      for (double seen : lv)
        if (!(std::fabs(v - seen) >= kLevelTolerance)) fresh = false;
      if (fresh) lv.push_back(v);
    }
    // ... then ascending by repeated selection of the smallest; the first of equal values stays.
    for (std::size_t a = 0; a < lv.size(); a++) {
      std::size_t best = a;
      for (std::size_t b = a + 1; b < lv.size(); b++)
        if (lv[b] < lv[best]) best = b;
      std::swap(lv[a], lv[best]);
    }
  }
  for (int k = 0; k < m; k++) {
    const int i = covariates[static_cast<std::size_t>(k)];
    const std::vector<double>& lv = cols.levels[static_cast<std::size_t>(k)];
    const bool categorical = model.categorical[static_cast<std::size_t>(i)] == 1;
    // The lowest level is the reference; a covariate seen at no or one level has no column.
    const int c = categorical ? (lv.size() > 1 ? static_cast<int>(lv.size()) - 1 : 0) : 1;
    cols.first.push_back(cols.pX);
    cols.count.push_back(c);
    cols.pX += c;
    if (model.dep[static_cast<std::size_t>(i)] == 'D') cols.pD += c;
    const std::string& name = model.names[static_cast<std::size_t>(i)];
    if (!categorical) {
      cols.names.push_back(name);
    } else {
      for (std::size_t l = 1; l < lv.size(); l++)
        cols.names.push_back(name + "(" + std::to_string(static_cast<int>(lv[l])) + ")");
    }
  }
  return cols;
}

void interaction_flags(const Model& model, const DesignColumns& cols, Mat<int>& X_X, Mat<int>& X_H, Mat<int>& H_H) {
  const int p = model.p, pH = model.pH, pX = cols.pX;
  H_H = imatrix(0, pH - 1, 0, pH - 1);
  X_X = imatrix(0, pX - 1, 0, pX - 1);
  X_H = imatrix(0, pX - 1, 0, pH - 1);
  for (int h = 0; h < pH; h++)
    for (int g = 0; g < pH; g++) H_H[h][g] = model.effect[p + h][p + g];
  const int m = static_cast<int>(cols.covariate.size());
  for (int a = 0; a < m; a++) {
    const int i = cols.covariate[static_cast<std::size_t>(a)];
    for (int r = cols.first[static_cast<std::size_t>(a)];
         r < cols.first[static_cast<std::size_t>(a)] + cols.count[static_cast<std::size_t>(a)]; r++) {
      for (int h = 0; h < pH; h++) X_H[r][h] = model.effect[p + h][i];
      X_X[r][r] = model.effect[i][i];
      for (int b = a + 1; b < m; b++) {
        const int k = cols.covariate[static_cast<std::size_t>(b)];
        for (int c = cols.first[static_cast<std::size_t>(b)];
             c < cols.first[static_cast<std::size_t>(b)] + cols.count[static_cast<std::size_t>(b)]; c++)
          X_X[r][c] = model.effect[i][k];
      }
    }
  }
}
