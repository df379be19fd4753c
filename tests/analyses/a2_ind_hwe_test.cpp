// The case-control analysis under gene-environment independence: exact gradient
// and information (with and without the panel), the same genetic estimates as the
// analysis without covariates when there are none, and recovery of simulated
// effects.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analyses/a2_ind_hwe.h"
#include "analyses/a4.h"
#include "analyses/analyses.h"
#include "analyses/cc_sim.h"

namespace {

using ccsim::Scenario;
using ccsim::Study;

Scenario independent() {
  Scenario sc;
  sc.dependent = false;
  sc.dependence = 0.0;
  sc.levels = 4;
  return sc;
}

}  // namespace

TEST(CaseControlIndependent, DerivativesMatchFiniteDifferences) {
  for (bool panel : {false, true}) {
    SCOPED_TRACE(panel ? "with panel" : "without panel");
    Scenario sc = independent();
    sc.panel = panel;
    sc.interaction = true;
    Study st(sc);
    ASSERT_EQ(st.w.anal, 1);
    ASSERT_EQ(st.w.J, 4);
    const int P = st.w.q + st.w.KK;  // G, E, E x G, ratios, intercept
    ASSERT_EQ(st.w.q, 3);
    const std::vector<double> theta = st.off_optimum(P);
    std::vector<double> g(static_cast<std::size_t>(P));
    Mat<double> H;
    const double f = A2_derivatives(st.w, st.study, st.hapmap(), theta.data(), g.data(), H);
    auto objective = [&](const std::vector<double>& t) {
      return A2_objective(st.w, st.study, st.hapmap(), t.data());
    };
    EXPECT_NEAR(f, objective(theta), 1e-9 * std::fabs(f));
    std::vector<double> fd_g;
    Mat<double> fd_H;
    ccsim::finite_differences(objective, theta, fd_g, fd_H);
    for (int k = 0; k < P; k++) EXPECT_NEAR(g[k], fd_g[k], 1e-4 * (1.0 + std::fabs(g[k]))) << "parameter " << k;
    for (int i = 1; i <= P; i++)
      for (int j = 1; j <= P; j++)
        EXPECT_NEAR(H[i][j], fd_H[i][j], 2e-3 * (1.0 + std::fabs(fd_H[i][j]))) << i << "," << j;
  }
}

TEST(CaseControlIndependent, WithoutCovariatesAgreesWithTheAnalysisWithoutCovariates) {
  for (bool panel : {false, true}) {
    SCOPED_TRACE(panel ? "with panel" : "without panel");
    Scenario sc = independent();
    sc.covariate = false;
    sc.panel = panel;
    Study st(sc);
    ASSERT_EQ(st.w.anal, 2);
    const int n_est = st.w.q + st.w.KK;
    std::vector<double> est4(16), se4(16), est2(16, -7.0), se2(16);
    double ll4 = 0.0, ll2 = 0.0;
    int it4 = 0, it2 = 0;
    Window w2 = st.w;
    ASSERT_EQ(A4(st.w, st.study, est4.data(), se4.data(), &ll4, &it4, st.hapmap(), st.freq()), 1);
    // Declared with an independent covariate the same window gets Zvec's intercept.
    w2.anal = 1;
    ASSERT_EQ(A2_ind_HWE(w2, st.study, est2.data(), se2.data(), &ll2, &it2, st.hapmap(), st.freq()), 1);
    for (int k = 0; k < n_est; k++) {
      EXPECT_NEAR(est2[k], est4[k], 1e-4) << k;
      EXPECT_NEAR(se2[k], se4[k], 1e-4) << k;
    }
    EXPECT_EQ(est2[n_est], -7.0);  // the intercept is not reported
    // The intercept's profile adds n1 log(n1/n) + n0 log(n0/n) to the log-likelihood.
    const double n1 = st.w.n1, n0 = st.w.n0, n = n1 + n0;
    EXPECT_NEAR(ll2, ll4 + n1 * std::log(n1 / n) + n0 * std::log(n0 / n), 1e-3);
  }
}

TEST(CaseControlIndependent, RecoversSimulatedGeneticAndCovariateEffects) {
  Scenario sc = independent();
  sc.n = 3000;
  sc.seed = 99;
  sc.base = -5.0;  // a rare disease, so controls represent the population
  Study st(sc);
  std::vector<double> est(16), se(16);
  double loglik = 0.0;
  int iter = 0;
  ASSERT_EQ(A2_ind_HWE(st.w, st.study, est.data(), se.data(), &loglik, &iter, st.hapmap(), st.freq()), 1);
  EXPECT_NEAR(est[0], sc.beta_g, 3.5 * se[0]);
  EXPECT_NEAR(est[1], sc.beta_e, 3.5 * se[1]);
  EXPECT_LT(se[0], 0.1);
  EXPECT_LT(se[1], 0.1);
  double total = 0.0;
  for (int k = 0; k < st.w.KK; k++) total += est[st.w.q + k];
  EXPECT_NEAR(total, 1.0, 1e-12);
  EXPECT_GT(iter, 1);
}
