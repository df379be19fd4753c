// The case-control analysis without covariates: at its optimum the gradient of its
// objective vanishes and the information it inverts is the Hessian of that
// objective, with and without the panel; a window of one haplotype fails.
// Its reported estimates are checked against the analysis under independence.
#include <gtest/gtest.h>

#include "analyses/a4.h"
#include "analyses/analyses.h"
#include "analyses/sim.h"

TEST(CaseControlWithoutCovariates, OptimumAndInformationMatchFiniteDifferences) {
  for (bool panel : {false, true}) {
    SCOPED_TRACE(panel ? "with panel" : "without panel");
    sim::Sample s = sim::case_control({.dependent = false, .covariate = false, .panel = panel});
    A4Fit fit;
    ASSERT_EQ(A4_fit(s.w, s.study, s.hapmap(), s.freq(), fit), 1);
    const int P = static_cast<int>(fit.theta.size());
    ASSERT_EQ(P, s.w.q + s.w.KK - 1);
    EXPECT_GT(fit.theta[0], 0.3);  // the simulated effect is 0.8 per allele
    auto objective = [&](const std::vector<double>& t) { return A4_objective(s.w, s.study, s.hapmap(), t.data()); };
    for (double g : fd::gradient(objective, fit.theta, 1e-4)) EXPECT_NEAR(g, 0.0, 2e-3);
    // The Hessian times the fit's inverse information is the identity.
    const Mat<double> H = fd::hessian(objective, fit.theta);
    for (int i = 1; i <= P; i++)
      for (int j = 1; j <= P; j++) {
        double v = 0.0;
        for (int k = 1; k <= P; k++) v += H[i][k] * fit.Hinv[k][j];
        EXPECT_NEAR(v, i == j ? 1.0 : 0.0, 5e-3) << i << "," << j;
      }
  }
}

TEST(CaseControlWithoutCovariates, SingleRetainedHaplotypeFailsCleanly) {
  // One retained haplotype: the genetic coefficient has no information.
  sim::Sample s = sim::case_control({.dependent = false, .covariate = false});
  for (int i = 0; i < s.study.n; i++)
    for (int j = 0; j < 3; j++) s.geno[i][j] = 2;
  s.prepare();
  ASSERT_EQ(s.w.KK, 1);
  EXPECT_EQ(sim::run(A4, s).ok, 0);
  sim::expect_reason(s.w, "A4", Check::kExplosionBefore);
}
