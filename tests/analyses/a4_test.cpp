// The case-control analysis without covariates: at its optimum the gradient of its
// objective vanishes and the information it inverts is the Hessian of that
// objective (checked by finite differences), with and without the panel.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "analyses/a4.h"
#include "analyses/analyses.h"
#include "core/linalg.h"
#include "design/dispatch.h"

namespace {

// A small deterministic generator, so the data are the same on every machine.
struct Lcg {
  std::uint64_t s;
  double uniform() {
    s = s * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(s >> 11) / 9007199254740992.0;
  }
};

// Three-SNP haplotypes (target first) in linkage disequilibrium.
int draw_haplotype(Lcg& r) {
  const int codes[4] = {0b000, 0b011, 0b100, 0b111};
  const double cum[4] = {0.4, 0.65, 0.8, 1.0};
  double u = r.uniform();
  for (int k = 0; k < 4; k++)
    if (u < cum[k]) return codes[k];
  return 0b111;
}

void genotype_row(Mat<int>& g, int row, int h1, int h2) {
  for (int j = 0; j < 3; j++) g[row][j] = ((h1 >> (2 - j)) & 1) + ((h2 >> (2 - j)) & 1);
}

struct CaseControl {
  Model model;
  StudyData study;
  Mat<int> geno, geno_ex;
  Window w;
  WindowPrep prep;

  explicit CaseControl(bool panel) {
    Lcg r{12345};
    const int n = 400;
    study.n = n;
    study.n_total = n;
    geno = imatrix(0, n - 1, 0, 2);
    for (int i = 0; i < n; i++) {
      int h1 = draw_haplotype(r), h2 = draw_haplotype(r);
      int g = (h1 >> 2) + (h2 >> 2);
      double risk = 1.0 / (1.0 + std::exp(0.4 - 0.8 * g));
      study.STATUS.push_back(r.uniform() < risk ? 1 : 0);
      genotype_row(geno, i, h1, h2);
      if (r.uniform() < 0.3) geno[i][0] = 9;  // target untyped for a third
    }
    model.design = 1;
    model.mode = 1;
    model.p = 0;
    model.pH = 1;
    model.names = {"G"};
    model.effect[0][0] = 2;
    w.set_size(3);
    w.design = 1;
    w.mode = 1;
    w.pH = 1;
    w.SNP_pos = 1;
    w.hap = 0;
    w.ext = panel ? 1 : 0;
    if (panel) {
      // Two trios, two duos and ten singletons, children drawn from their parents.
      model.nTR = 2;
      model.nDU = 2;
      model.nUN = 10;
      geno_ex = imatrix(0, 3 * 2 + 2 * 2 + 10 - 1, 0, 2);
      int row = 0;
      for (int t = 0; t < 2; t++) {
        int a1 = draw_haplotype(r), a2 = draw_haplotype(r), b1 = draw_haplotype(r), b2 = draw_haplotype(r);
        genotype_row(geno_ex, row++, a1, a2);
        genotype_row(geno_ex, row++, b1, b2);
        genotype_row(geno_ex, row++, r.uniform() < 0.5 ? a1 : a2, r.uniform() < 0.5 ? b1 : b2);
      }
      for (int d = 0; d < 2; d++) {
        int a1 = draw_haplotype(r), a2 = draw_haplotype(r), other = draw_haplotype(r);
        genotype_row(geno_ex, row++, a1, a2);
        genotype_row(geno_ex, row++, r.uniform() < 0.5 ? a1 : a2, other);
      }
      for (int u = 0; u < 10; u++) genotype_row(geno_ex, row++, draw_haplotype(r), draw_haplotype(r));
    }
    EXPECT_EQ(prepare_window(w, geno, geno_ex, model, study, prep), 1);
  }

  double objective(const std::vector<double>& theta) {
    return A4_objective(w, study, prep.rankmap.data(), theta.data());
  }
};

void check_optimum(CaseControl& cc) {
  A4Fit fit;
  ASSERT_EQ(A4_fit(cc.w, cc.study, cc.prep.rankmap.data(), cc.prep.freq.data(), fit), 1);
  const int P = static_cast<int>(fit.theta.size());
  ASSERT_EQ(P, cc.w.q + cc.w.KK - 1);
  EXPECT_GT(fit.theta[0], 0.3);  // the simulated effect is 0.8 per allele
  const double h = 1e-4;
  std::vector<double> t = fit.theta;
  // Gradient by central differences.
  for (int i = 0; i < P; i++) {
    t[i] = fit.theta[i] + h;
    double up = cc.objective(t);
    t[i] = fit.theta[i] - h;
    double down = cc.objective(t);
    t[i] = fit.theta[i];
    EXPECT_NEAR((up - down) / (2 * h), 0.0, 2e-3) << "parameter " << i;
  }
  // Hessian by central differences; its product with the fit's inverse is the identity.
  Mat<double> H = dmatrix(1, P, 1, P);
  for (int i = 0; i < P; i++)
    for (int j = 0; j < P; j++) {
      double f[4];
      const int si[4] = {1, 1, -1, -1}, sj[4] = {1, -1, 1, -1};
      for (int k = 0; k < 4; k++) {
        t = fit.theta;
        t[i] += si[k] * h;
        t[j] += sj[k] * h;
        f[k] = cc.objective(t);
      }
      H[i + 1][j + 1] = (f[0] - f[1] - f[2] + f[3]) / (4 * h * h);
    }
  for (int i = 1; i <= P; i++)
    for (int j = 1; j <= P; j++) {
      double s = 0.0;
      for (int k = 1; k <= P; k++) s += H[i][k] * fit.Hinv[k][j];
      EXPECT_NEAR(s, i == j ? 1.0 : 0.0, 5e-3) << i << "," << j;
    }
}

}  // namespace

TEST(CaseControlWithoutCovariates, OptimumAndInformationMatchFiniteDifferences) {
  CaseControl cc(false);
  check_optimum(cc);
}

TEST(CaseControlWithoutCovariates, PanelTermsEnterObjectiveAndInformation) {
  CaseControl cc(true);
  check_optimum(cc);
}

TEST(CaseControlWithoutCovariates, ResultsAreCoefficientThenFrequenciesReferenceFirst) {
  CaseControl cc(false);
  std::vector<double> est(16), se(16);
  double loglik = 0.0;
  int iter = 0;
  ASSERT_EQ(A4(cc.w, cc.study, est.data(), se.data(), &loglik, &iter, cc.prep.rankmap.data(), cc.prep.freq.data()),
            1);
  EXPECT_LT(loglik, 0.0);
  EXPECT_GT(iter, 1);
  double total = 0.0;
  for (int k = 0; k < cc.w.KK; k++) total += est[cc.w.q + k];
  EXPECT_NEAR(total, 1.0, 1e-12);
  for (int k = 1; k < cc.w.KK; k++) EXPECT_GE(est[cc.w.q], est[cc.w.q + k]);  // the reference is the most frequent
  EXPECT_GT(se[0], 0.0);
}

TEST(CaseControlWithoutCovariates, SingleRetainedHaplotypeFailsCleanly) {
  CaseControl cc(false);
  for (int i = 0; i < cc.study.n; i++)
    for (int j = 0; j < 3; j++) cc.geno[i][j] = 2;
  Window w;
  w.set_size(3);
  w.pH = 1;
  WindowPrep prep;
  ASSERT_EQ(prepare_window(w, cc.geno, cc.geno_ex, cc.model, cc.study, prep), 1);
  EXPECT_EQ(w.KK, 1);
  A4Fit fit;
  EXPECT_EQ(A4_fit(w, cc.study, prep.rankmap.data(), prep.freq.data(), fit), 0);
}
