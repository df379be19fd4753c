#include "design/readin.h"

#include <cmath>

#include "design/columns.h"

int trait_values(const StudyData& study, double seen[3]) {
  const std::vector<double>& trait = study.TRAIT_raw.empty() ? study.TRAIT : study.TRAIT_raw;
  int distinct = 0;
  for (int i = 0; i < study.n && distinct < 3; i++) {
    const double v = trait[static_cast<std::size_t>(i)];
    bool fresh = true;
    for (int k = 0; k < distinct; k++)
      if (!(std::fabs(v - seen[k]) >= kPatternTolerance)) fresh = false;
    if (fresh) seen[distinct++] = v;
  }
  return distinct;
}

void classify_trait(StudyData& study) {
  study.TRAIT_raw = study.TRAIT;
  double seen[3];
  if (trait_values(study, seen) != 2) {
    study.cs_bin = 0;
    return;
  }
  study.cs_bin = 1;
  const double larger = seen[0] > seen[1] ? seen[0] : seen[1];
  for (int i = 0; i < study.n; i++) {
    double& v = study.TRAIT[static_cast<std::size_t>(i)];
    v = std::fabs(v - larger) < kPatternTolerance ? 1.0 : 0.0;
  }
}

void readinXV(Window& w, const Model& model, const StudyData& study, const double* cov) {
  const int p = model.p;
  const std::vector<int> covariates = model_covariates(model);
  const int m = static_cast<int>(covariates.size());

  int nD = 0, nI = 0;
  for (int i : covariates) (model.dep[static_cast<std::size_t>(i)] == 'D' ? nD : nI)++;
  w.anal = nD > 0 ? 0 : (nI > 0 ? 1 : 2);

  // Distinct covariate patterns of the listed subjects and the outcome counts.
  PatternTable patterns;
  patterns.m = m;
  patterns.values.reserve(w.list.subjects.size() * static_cast<std::size_t>(m));
  std::vector<double> values(static_cast<std::size_t>(m));
  w.n1 = w.n0 = w.n_new = 0;
  for (SubjectNode& s : w.list.subjects) {
    if (model.design == kCaseControl) {
      const int status = study.STATUS[static_cast<std::size_t>(s.idx)];
      if (w.n_new == 0) {
        // The first subject sets both counts from its status.
        w.n1 = status;
        w.n0 = 1 - status;
      } else {
        (status == 1 ? w.n1 : w.n0)++;
      }
    }
    w.n_new++;
    const double* row = cov + static_cast<std::size_t>(s.idx) * p;
    for (int k = 0; k < m; k++) values[static_cast<std::size_t>(k)] = row[covariates[static_cast<std::size_t>(k)]];
    int j = find_pattern(patterns, values.data(), kPatternTolerance);
    if (j < 0) j = patterns.add(values.data());
    s.stratum = j;
  }
  w.J = patterns.J;

  const DesignColumns cols = design_columns(model, covariates, patterns);
  w.pX = cols.pX;
  w.pD = cols.pD;
  w.design_names = cols.names;
  for (int h = 0; h < model.pH; h++) w.design_names.push_back(model.names[static_cast<std::size_t>(p + h)]);

  // Design row of each pattern.
  w.X = dmatrix(0, w.J - 1, 0, w.pX - 1);
  for (int j = 0; j < w.J; j++) {
    const double* r = patterns.row(j);
    for (int k = 0; k < m; k++) {
      const int first = cols.first[static_cast<std::size_t>(k)];
      const std::vector<double>& lv = cols.levels[static_cast<std::size_t>(k)];
      if (model.categorical[static_cast<std::size_t>(covariates[static_cast<std::size_t>(k)])] != 1) {
        w.X[j][first] = r[k];
      } else {
        for (int c = 0; c < cols.count[static_cast<std::size_t>(k)]; c++)
          w.X[j][first + c] = std::fabs(r[k] - lv[static_cast<std::size_t>(c) + 1]) < kLevelTolerance ? 1.0 : 0.0;
      }
    }
  }

  interaction_flags(model, cols, w.X_X, w.X_H, w.H_H);
}
