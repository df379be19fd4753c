// The case-control analysis under gene-environment independence: exact gradient
// and information (with and without the panel), the same genetic estimates as the
// analysis without covariates when there are none, and recovery of simulated
// effects.
#include <gtest/gtest.h>

#include "analyses/a2_ind_hwe.h"
#include "analyses/analyses.h"
#include "analyses/sim.h"

using sim::at;

TEST(CaseControlIndependent, DerivativesMatchFiniteDifferences) {
  // With continuous covariates every subject is its own pattern, and the
  // covariate block is summed per pattern rather than per pair.
  struct Case {
    bool panel;
    int continuous, J, q;
    bool interaction;
  };
  for (const Case& c : {Case{false, 0, 4, 3, true}, Case{true, 0, 4, 3, true}, Case{false, 3, 0, 6, true},
                        Case{true, 3, 0, 5, false}}) {
    SCOPED_TRACE(testing::Message() << "panel " << c.panel << ", continuous " << c.continuous);
    sim::Sample s = sim::case_control({
                                       .dependent = false,
                                       .interaction = c.interaction,
                                       .panel = c.panel,
                                       .levels = 4,
                                       .dependence = 0.0,
                                       .continuous = c.continuous});
    ASSERT_EQ(s.w.anal, 1);
    if (c.J > 0) ASSERT_EQ(s.w.J, c.J);
    else ASSERT_GT(s.w.J, 300);
    ASSERT_EQ(s.w.q, c.q);  // G, E, E x G, the Xs; then the ratios and the intercept
    const int P = s.w.q + s.w.KK;
    const std::vector<double> theta = s.off_optimum(P);
    std::vector<double> g(at(P));
    Mat<double> H;
    const double f = A2_derivatives(s.w, s.study, s.hapmap(), theta.data(), g.data(), H);
    auto objective = [&](const std::vector<double>& t) { return A2_objective(s.w, s.study, s.hapmap(), t.data()); };
    EXPECT_NEAR(f, objective(theta), 1e-9 * std::fabs(f));
    sim::expect_gradient(g, fd::gradient(objective, theta, 1e-4));
    sim::expect_matrix(H, fd::hessian(objective, theta), P);
  }
}

TEST(CaseControlIndependent, WithoutCovariatesAgreesWithTheAnalysisWithoutCovariates) {
  for (bool panel : {false, true}) {
    SCOPED_TRACE(panel ? "with panel" : "without panel");
    sim::Sample s = sim::case_control({.dependent = false, .covariate = false, .panel = panel, .dependence = 0.0});
    ASSERT_EQ(s.w.anal, 2);
    const int n_est = s.w.q + s.w.KK;
    Window w = s.w;
    const sim::Result a4 = sim::run(A4, s);
    ASSERT_EQ(a4.ok, 1);
    // Declared with an independent covariate the same window gets Zvec's intercept.
    s.w = w;
    s.w.anal = 1;
    const sim::Result a2 = sim::run(A2_ind_HWE, s);
    ASSERT_EQ(a2.ok, 1);
    for (int k = 0; k < n_est; k++) {
      EXPECT_NEAR(a2.est[at(k)], a4.est[at(k)], 1e-4) << k;
      EXPECT_NEAR(a2.se[at(k)], a4.se[at(k)], 1e-4) << k;
    }
    EXPECT_EQ(a2.est[at(n_est)], -7.0);  // the intercept is not reported
    // The intercept's profile adds n1 log(n1/n) + n0 log(n0/n) to the log-likelihood.
    const double n1 = s.w.n1, n0 = s.w.n0, n = n1 + n0;
    EXPECT_NEAR(a2.loglik, a4.loglik + n1 * std::log(n1 / n) + n0 * std::log(n0 / n), 1e-3);
  }
}

TEST(CaseControlIndependent, RecoversSimulatedGeneticAndCovariateEffects) {
  // A rare disease, so controls represent the population.
  const sim::Scenario sc{.n = 3000, .seed = 99, .dependent = false, .levels = 4, .base = -5.0, .dependence = 0.0};
  sim::Sample s = sim::case_control(sc);
  const sim::Result r = sim::run(A2_ind_HWE, s);
  ASSERT_EQ(r.ok, 1);
  EXPECT_NEAR(r.est[0], sc.beta_g, 3.5 * r.se[0]);
  EXPECT_NEAR(r.est[1], sc.beta_e, 3.5 * r.se[1]);
  EXPECT_LT(r.se[0], 0.1);
  EXPECT_LT(r.se[1], 0.1);
  double total = 0.0;
  for (int k = 0; k < s.w.KK; k++) total += r.est[at(s.w.q + k)];
  EXPECT_NEAR(total, 1.0, 1e-12);
  EXPECT_GT(r.iter, 1);
}
