#include "design/outfile.h"

#include "design/columns.h"

namespace {

// Records one reported coefficient (two under the codominant mode when split);
// pos is where the term itself stands.
void add_file(OutputFiles& out, const std::string& base, int k, int pos, bool split) {
  if (!split) {
    out.names.push_back(base);
    out.index.push_back(k);
    out.position.push_back(pos);
    return;
  }
  out.names.push_back(base + "(1)");
  out.index.push_back(k);
  out.position.push_back(pos);
  out.names.push_back(base + "(2)");
  out.index.push_back(k + 1);
  out.position.push_back(pos + 1);
}

// Appends the name of one coefficient, or of the two of a codominant term.
void add_coefficient(OutputFiles& out, const std::string& name, bool split) {
  if (!split) {
    out.coefficients.push_back(name);
  } else {
    out.coefficients.push_back(name + "(1)");
    out.coefficients.push_back(name + "(2)");
  }
}

}  // namespace

OutputFiles get_outfile(const std::string& prefix, const Model& model, const double* cov, int n) {
  OutputFiles out;
  const int p = model.p, pH = model.pH;
  const std::vector<int> covariates = model_covariates(model);
  const int m = static_cast<int>(covariates.size());

  // Distinct covariate patterns over every subject, in subject order.
  PatternTable patterns;
  patterns.m = m;
  std::vector<double> values(static_cast<std::size_t>(m));
  for (int i = 0; i < n; i++) {
    const double* row = cov + static_cast<std::size_t>(i) * p;
    for (int k = 0; k < m; k++) values[static_cast<std::size_t>(k)] = row[covariates[static_cast<std::size_t>(k)]];
    if (find_pattern(patterns, values.data(), kOutfilePatternTolerance) < 0) patterns.add(values.data());
  }
  out.J = patterns.J;

  const DesignColumns cols = design_columns(model, covariates, patterns);
  out.pX = cols.pX;
  out.design_names = cols.names;
  for (int h = 0; h < pH; h++) out.design_names.push_back(model.names[static_cast<std::size_t>(p + h)]);
  Mat<int> X_X, X_H, H_H;
  interaction_flags(model, cols, X_X, X_H, H_H);

  const bool codominant = model.mode == kCodominant;
  const int per_term = codominant ? 2 : 1;
  const std::string stem = prefix + "_";
  auto column = [&](int r) -> const std::string& { return out.design_names[static_cast<std::size_t>(r)]; };
  auto term = [&](int h) -> const std::string& { return model.names[static_cast<std::size_t>(p + h)]; };

  // k is the recorded index, which covariate products do not advance; the
  // layout's own count is the size of out.coefficients.
  int k = 0;
  auto placed = [&] { return static_cast<int>(out.coefficients.size()); };
  for (int h = 0; h < pH; h++) {
    if (H_H[h][h] == 2) add_file(out, stem + term(h), k, placed(), codominant);
    if (H_H[h][h] > 0) {
      k += per_term;
      add_coefficient(out, term(h), codominant);
    }
  }
  for (int r = 0; r < cols.pX; r++) {
    if (X_X[r][r] == 2) add_file(out, stem + column(r), k, placed(), false);
    if (X_X[r][r] > 0) {
      k += 1;
      add_coefficient(out, column(r), false);
    }
    for (int c = r + 1; c < cols.pX; c++) {
      if (X_X[r][c] == 2) add_file(out, stem + column(r) + "$" + column(c), k, placed(), false);
      if (X_X[r][c] > 0) add_coefficient(out, column(r) + "*" + column(c), false);
    }
  }
  for (int r = 0; r < cols.pX; r++)
    for (int h = 0; h < pH; h++) {
      if (X_H[r][h] == 2) add_file(out, stem + column(r) + "$" + term(h), k, placed(), codominant);
      if (X_H[r][h] > 0) {
        k += per_term;
        add_coefficient(out, column(r) + "*" + term(h), codominant);
      }
    }

  for (std::string& name : out.names) name += ".out";
  return out;
}
