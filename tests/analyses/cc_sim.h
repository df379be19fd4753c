// Simulated case-control windows with one covariate for the analyses with
// covariates: three-SNP haplotypes in linkage disequilibrium (target first), a
// covariate E whose distribution may depend on the haplotypes, disease by a
// logistic model in the target's allele count and E, cases and controls drawn in
// equal numbers, the target untyped for a share of the subjects, and optionally
// a small external panel.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "design/dispatch.h"
#include "design/model_builder.h"

namespace ccsim {

// A small deterministic generator, so the data are the same on every machine.
struct Lcg {
  std::uint64_t s;
  double uniform() {
    s = s * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(s >> 11) / 9007199254740992.0;
  }
};

inline int draw_haplotype(Lcg& r) {
  const int codes[4] = {0b000, 0b011, 0b100, 0b111};
  const double cum[4] = {0.4, 0.65, 0.8, 1.0};
  double u = r.uniform();
  for (int k = 0; k < 4; k++)
    if (u < cum[k]) return codes[k];
  return 0b111;
}

inline void genotype_row(Mat<int>& g, int row, int h1, int h2) {
  for (int j = 0; j < 3; j++) g[row][j] = ((h1 >> (2 - j)) & 1) + ((h2 >> (2 - j)) & 1);
}

struct Scenario {
  int n = 400;
  std::uint64_t seed = 2024;
  bool dependent = true;     // E declared DEPENDENT (and categorical), else independent and numeric
  bool interaction = false;  // the model holds G x E
  bool covariate = true;     // the model holds E at all
  bool panel = false;
  int levels = 3;            // E takes 0 .. levels-1
  double beta_g = 0.8, beta_e = 0.5, base = -4.5;
  double dependence = 0.6;   // log odds of each higher E level per copy of haplotype 011
  double missing = 0.3;      // share with the target untyped
  bool absent_in_top = false;  // haplotype 100 never occurs in the top level of E
};

struct Study {
  Model model;
  StudyData study;
  Mat<int> geno, geno_ex;
  Window w;
  WindowPrep prep;

  explicit Study(const Scenario& sc) {
    Lcg r{sc.seed};
    const int n = sc.n;
    std::vector<double> e_col;
    geno = imatrix(0, n - 1, 0, 2);
    int cases = 0, controls = 0, i = 0;
    while (i < n) {
      int h1 = draw_haplotype(r), h2 = draw_haplotype(r);
      const int carriers = (h1 == 0b011) + (h2 == 0b011);
      // E by a multinomial logit in the carried copies of haplotype 011.
      double weights[8], total = 0.0;
      for (int k = 0; k < sc.levels; k++) total += weights[k] = std::exp(sc.dependence * k * carriers);
      double u = r.uniform() * total;
      int e = 0;
      while (e < sc.levels - 1 && u >= weights[e]) u -= weights[e++];
      if (sc.absent_in_top && e == sc.levels - 1 && (h1 == 0b100 || h2 == 0b100)) continue;
      const int g = (h1 >> 2) + (h2 >> 2);
      const double risk = 1.0 / (1.0 + std::exp(-(sc.base + sc.beta_g * g + sc.beta_e * e)));
      const int y = r.uniform() < risk ? 1 : 0;
      if ((y == 1 && cases >= n / 2) || (y == 0 && controls >= n - n / 2)) continue;
      (y == 1 ? cases : controls)++;
      study.STATUS.push_back(y);
      e_col.push_back(e);
      genotype_row(geno, i, h1, h2);
      const bool typed_stratum = sc.absent_in_top && e == sc.levels - 1;
      if (!typed_stratum && r.uniform() < sc.missing) geno[i][0] = 9;
      i++;
    }
    StudyData s = testmodel::make_study({e_col}, std::vector<int>(static_cast<std::size_t>(n), 0));
    s.STATUS = study.STATUS;
    study = s;

    testmodel::Builder b(1, 1, {"E"});
    b.term("G", 2);
    if (sc.covariate) b.term("E");
    if (sc.interaction) b.term("E", "G");
    if (sc.dependent) b.dependent("E").categorical("E");
    model = b.model();

    w.set_size(3);
    w.pH = 1;
    w.ext = sc.panel ? 1 : 0;
    if (sc.panel) {
      // Two trios, two duos and ten singletons, children drawn from their parents.
      model.nTR = model.nDU = 2;
      model.nUN = 10;
      geno_ex = imatrix(0, 19, 0, 2);
      int row = 0;
      for (int f = 0; f < 4; f++) {
        int a1 = draw_haplotype(r), a2 = draw_haplotype(r), b1 = draw_haplotype(r), b2 = draw_haplotype(r);
        genotype_row(geno_ex, row++, a1, a2);
        if (f < 2) genotype_row(geno_ex, row++, b1, b2);
        genotype_row(geno_ex, row++, r.uniform() < 0.5 ? a1 : a2, r.uniform() < 0.5 ? b1 : b2);
      }
      for (int u = 0; u < 10; u++) genotype_row(geno_ex, row++, draw_haplotype(r), draw_haplotype(r));
    }
    EXPECT_EQ(prepare_window(w, geno, geno_ex, model, study, prep), 1);
  }

  const int* hapmap() const { return prep.rankmap.data(); }
  const double* freq() const { return prep.freq.data(); }

  // Start values of the analyses (zero coefficients, ratios from the estimated
  // frequencies) moved by a fixed irregular offset, so that derivatives are
  // checked away from any optimum.
  std::vector<double> off_optimum(int n_par) const {
    std::vector<double> theta(static_cast<std::size_t>(n_par), 0.0);
    for (int k = 1; k < w.KK; k++)
      theta[static_cast<std::size_t>(w.q + k - 1)] = std::log(freq()[w.hap_freq[k]] / freq()[w.hap_freq[0]]);
    for (int k = 0; k < n_par; k++) theta[static_cast<std::size_t>(k)] += 0.15 * std::sin(1.7 * k + 0.3);
    return theta;
  }
};

// Central-difference gradient and Hessian of f at theta.
template <class F>
void finite_differences(F f, std::vector<double> theta, std::vector<double>& g, Mat<double>& H, double h = 1e-4) {
  const int n = static_cast<int>(theta.size());
  g.assign(theta.size(), 0.0);
  H = dmatrix(1, n, 1, n);
  const std::vector<double> t0 = theta;
  for (int i = 0; i < n; i++) {
    theta[i] = t0[i] + h;
    const double up = f(theta);
    theta[i] = t0[i] - h;
    g[i] = (up - f(theta)) / (2 * h);
    theta[i] = t0[i];
  }
  for (int i = 0; i < n; i++)
    for (int j = i; j < n; j++) {
      double v[4];
      const int si[4] = {1, 1, -1, -1}, sj[4] = {1, -1, 1, -1};
      for (int k = 0; k < 4; k++) {
        theta = t0;
        theta[i] += si[k] * h;
        theta[j] += sj[k] * h;
        v[k] = f(theta);
      }
      H[i + 1][j + 1] = H[j + 1][i + 1] = (v[0] - v[1] - v[2] + v[3]) / (4 * h * h);
    }
}

}  // namespace ccsim
