// Simulated studies for the haplotype analyses: three-SNP haplotypes (target SNP
// first) drawn from a small table, the target untyped for some subjects, an
// optional external panel, the prepared window, and what an analysis wrote.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "analyses/dispatch.h"
#include "design/model_builder.h"
#include "design/sample_study.h"
#include "support/finite_differences.h"

namespace sim {

using sample::Lcg;
inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

// Haplotype codes with their cumulative probabilities.
struct Haplotypes {
  std::vector<int> codes;
  std::vector<double> cum;
  int draw(Lcg& r) const {
    const double u = r.uniform();
    std::size_t k = 0;
    while (k + 1 < codes.size() && u >= cum[k]) k++;
    return codes[k];
  }
};

inline void genotype_row(Mat<int>& g, int row, int h1, int h2) {
  for (int j = 0; j < 3; j++) g[row][j] = ((h1 >> (2 - j)) & 1) + ((h2 >> (2 - j)) & 1);
}

// Panel genotypes of trios (two parents, then the child), duos (a parent, then a
// child with one parental haplotype) and singletons.
inline Mat<int> panel(Lcg& r, const Haplotypes& hap, int trios, int duos, int singletons) {
  Mat<int> g = imatrix(0, 3 * trios + 2 * duos + singletons - 1, 0, 2);
  int row = 0;
  for (int f = 0; f < trios + duos; f++) {
    const int a1 = hap.draw(r), a2 = hap.draw(r), b1 = hap.draw(r), b2 = hap.draw(r);
    genotype_row(g, row++, a1, a2);
    if (f < trios) genotype_row(g, row++, b1, b2);
    const int c1 = r.uniform() < 0.5 ? a1 : a2;
    genotype_row(g, row++, c1, r.uniform() < 0.5 ? b1 : b2);
  }
  for (int u = 0; u < singletons; u++) {
    const int h1 = hap.draw(r);
    genotype_row(g, row++, h1, hap.draw(r));
  }
  return g;
}

// A study with its model, genotypes and (re)prepared window.
struct Sample {
  Model model;
  StudyData study;
  Mat<int> geno, geno_ex;
  bool ext = false;
  Window w;
  WindowPrep prep;

  // A fresh window: an analysis consumes the lists.
  void prepare() {
    w = Window();
    w.set_size(3);
    w.design = model.design;
    w.mode = model.mode;
    w.pH = 1;
    w.ext = ext ? 1 : 0;
    EXPECT_EQ(prepare_window(w, geno, geno_ex, model, study, prep), 1);
  }
  const int* hapmap() const { return prep.rankmap.data(); }
  const double* freq() const { return prep.freq.data(); }

  // Zero coefficients and ratios from the estimated frequencies, moved by an
  // irregular offset so that derivatives are checked away from any optimum.
  std::vector<double> off_optimum(int n_par) const {
    std::vector<double> theta(at(n_par), 0.0);
    for (int k = 1; k < w.KK; k++) theta[at(w.q + k - 1)] = std::log(freq()[w.hap_freq[at(k)]] / freq()[w.hap_freq[0]]);
    for (int k = 0; k < n_par; k++) theta[at(k)] += 0.15 * std::sin(1.7 * k + 0.3);
    return theta;
  }
};

// What an analysis wrote; untouched entries stay -7.
struct Result {
  int ok = 0, iter = -7;
  double loglik = -7.0;
  std::vector<double> est = std::vector<double>(40, -7.0), se = std::vector<double>(40, -7.0);
};

template <class Analysis, class... Dependence>
Result run(Analysis analysis, Sample& s, Dependence... ndep) {
  Result r;
  r.ok = analysis(s.w, s.study, r.est.data(), r.se.data(), &r.loglik, &r.iter, s.hapmap(), s.freq(), ndep...);
  return r;
}

// The stage and check a failed window names.
inline void expect_reason(const Window& w, const char* stage, Check check) {
  EXPECT_STREQ(w.fail.stage, stage);
  EXPECT_EQ(w.fail.check, check) << check_text(w.fail.check);
}

inline void expect_gradient(const std::vector<double>& g, const std::vector<double>& fd, double rel = 1e-4) {
  for (std::size_t k = 0; k < fd.size(); k++)
    EXPECT_NEAR(g[k], fd[k], rel * (1.0 + std::fabs(g[k]))) << "parameter " << k;
}

inline void expect_matrix(const Mat<double>& I, const Mat<double>& H, int n, double rel = 2e-3) {
  for (int i = 1; i <= n; i++)
    for (int j = 1; j <= n; j++) EXPECT_NEAR(I[i][j], H[i][j], rel * (1.0 + std::fabs(H[i][j]))) << i << "," << j;
}

// A case-control study with one covariate E whose distribution may depend on the
// haplotypes; disease by a logistic model in the target's allele count and E;
// cases and controls in equal numbers.
struct Scenario {
  int n = 400;
  std::uint64_t seed = 2024;
  bool dependent = true;     // E DEPENDENT (and categorical), else independent and numeric
  bool interaction = false;  // the model holds G x E
  bool covariate = true;     // the model holds E at all
  bool panel = false;        // two trios, two duos, ten singletons
  int levels = 3;            // E takes 0 .. levels-1
  double beta_g = 0.8, beta_e = 0.5, base = -4.5;
  double dependence = 0.6;     // log odds of each higher E level per copy of haplotype 011
  double missing = 0.3;        // share with the target untyped
  bool absent_in_top = false;  // haplotype 100 never occurs in the top level of E
  int continuous = 0;          // further independent covariates X1.. in the model, not in the disease
};

inline const Haplotypes kCaseControlHaplotypes{{0b000, 0b011, 0b100, 0b111}, {0.4, 0.65, 0.8, 1.0}};

inline Sample case_control(const Scenario& sc) {
  Sample s;
  Lcg r(sc.seed);
  const Haplotypes& hap = kCaseControlHaplotypes;
  std::vector<double> e_col;
  std::vector<std::vector<double>> x_cols(at(sc.continuous));
  std::vector<int> status;
  s.geno = imatrix(0, sc.n - 1, 0, 2);
  int cases = 0, controls = 0, i = 0;
  while (i < sc.n) {
    const int h1 = hap.draw(r), h2 = hap.draw(r);
    const int carriers = (h1 == 0b011) + (h2 == 0b011);
    double weights[8], total = 0.0;
    for (int k = 0; k < sc.levels; k++) total += weights[k] = std::exp(sc.dependence * k * carriers);
    double u = r.uniform() * total;
    int e = 0;
    while (e < sc.levels - 1 && u >= weights[e]) u -= weights[e++];
    if (sc.absent_in_top && e == sc.levels - 1 && (h1 == 0b100 || h2 == 0b100)) continue;
    const int g = (h1 >> 2) + (h2 >> 2);
    const int y = r.uniform() < 1.0 / (1.0 + std::exp(-(sc.base + sc.beta_g * g + sc.beta_e * e))) ? 1 : 0;
    if ((y == 1 && cases >= sc.n / 2) || (y == 0 && controls >= sc.n - sc.n / 2)) continue;
    (y == 1 ? cases : controls)++;
    status.push_back(y);
    e_col.push_back(e);
    for (int k = 0; k < sc.continuous; k++) x_cols[at(k)].push_back(r.uniform() * 4.0 - 2.0);
    genotype_row(s.geno, i, h1, h2);
    const bool typed_stratum = sc.absent_in_top && e == sc.levels - 1;
    if (!typed_stratum && r.uniform() < sc.missing) s.geno[i][0] = 9;
    i++;
  }
  std::vector<std::vector<double>> columns{e_col};
  std::vector<std::string> names{"E"};
  for (int k = 0; k < sc.continuous; k++) {
    columns.push_back(x_cols[at(k)]);
    names.push_back(std::string(1, 'X') += std::to_string(k + 1));
  }
  s.study = testmodel::make_study(columns, std::vector<int>(at(sc.n), 0));
  s.study.STATUS = status;
  testmodel::Builder b(1, 1, names);
  b.term("G", 2);
  if (sc.covariate) b.term("E");
  for (int k = 1; k < static_cast<int>(names.size()); k++) b.term(names[at(k)]);
  if (sc.interaction) b.term("E", "G");
  if (sc.dependent) b.dependent("E").categorical("E");
  s.model = b.model();
  if ((s.ext = sc.panel)) {
    s.model.nTR = s.model.nDU = 2;
    s.model.nUN = 10;
    s.geno_ex = panel(r, hap, 2, 2, 10);
  }
  s.prepare();
  return s;
}

}  // namespace sim
