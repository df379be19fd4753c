// The case-control analysis with DEPENDENT covariates: its gradient is that of the
// expected objective, its information the Hessian of the observed objective (with
// and without the panel), and the retry over dependence haplotypes behaves.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analyses/a5_cc.h"
#include "analyses/analyses.h"
#include "analyses/cc_sim.h"

namespace {

using ccsim::Scenario;
using ccsim::Study;

void check_derivatives(bool panel) {
  Scenario sc;
  sc.panel = panel;
  sc.interaction = true;
  Study st(sc);
  ASSERT_EQ(st.w.anal, 0);
  ASSERT_EQ(st.w.J, 3);
  ASSERT_EQ(st.w.pD, 2);
  ASSERT_EQ(st.prep.G, 3);
  CCModel m(st.w, st.study, st.hapmap());
  m.set_dependence(st.prep.G);
  ASSERT_EQ(m.n, 6 + 5 + st.w.KK + 3 - 2);
  const std::vector<double> theta = st.off_optimum(m.n);

  // Gradient of the expected objective with the E-step weights held fixed.
  exp_eval_CC(m, theta.data());
  link_eval_CC(m);
  std::vector<double> g(static_cast<std::size_t>(m.n));
  dloglike_CC(m, g.data());
  std::vector<double> fd_g;
  Mat<double> fd_H;
  auto expected = [&](const std::vector<double>& t) {
    exp_eval_CC(m, t.data());
    return loglike_CC(m);
  };
  ccsim::finite_differences(expected, theta, fd_g, fd_H);
  for (int k = 0; k < m.n; k++) EXPECT_NEAR(g[k], fd_g[k], 1e-4 * (1.0 + std::fabs(g[k]))) << "parameter " << k;

  // Observed information against the Hessian of the observed objective.
  Mat<double> I;
  A5_info_CC(m, theta.data(), I);
  auto observed = [&](const std::vector<double>& t) {
    exp_eval_CC(m, t.data());
    return obs_loglike_CC(m);
  };
  ccsim::finite_differences(observed, theta, fd_g, fd_H);
  for (int i = 1; i <= m.n; i++)
    for (int j = 1; j <= m.n; j++)
      EXPECT_NEAR(I[i][j], fd_H[i][j], 2e-3 * (1.0 + std::fabs(fd_H[i][j]))) << i << "," << j;
}

struct A5Run {
  std::vector<double> est = std::vector<double>(40, -7.0), se = std::vector<double>(40, -7.0);
  double loglik = 1.5;
  int iter = 3;
  int ok = 0;
  A5Run(Study& st, int G) {
    ok = A5_CC(st.w, st.study, est.data(), se.data(), &loglik, &iter, st.hapmap(), st.freq(), G);
  }
};

}  // namespace

TEST(CaseControlDependent, DerivativesMatchFiniteDifferences) { check_derivatives(false); }

TEST(CaseControlDependent, PanelTermsEnterGradientAndInformation) { check_derivatives(true); }

TEST(CaseControlDependent, RecoversSimulatedEffectsAndDependence) {
  Scenario sc;
  sc.n = 1500;
  sc.seed = 77;
  Study st(sc);
  const int G = st.prep.G;
  A5Run r(st, G);
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(st.w.qq, st.w.pD * G);
  EXPECT_GT(r.iter, 1);
  // Genotype, then the two levels of E (effects 0.5 and 1.0).
  EXPECT_NEAR(r.est[0], sc.beta_g, 3.5 * r.se[0]);
  EXPECT_NEAR(r.est[1], sc.beta_e, 3.5 * r.se[1]);
  EXPECT_NEAR(r.est[2], 2 * sc.beta_e, 3.5 * r.se[2]);
  EXPECT_LT(r.se[0], 0.2);
  // E depends on haplotype 011 by 0.6 per level, on no other haplotype.
  const int first = st.w.q + st.w.KK;
  for (int g = 0; g < G; g++) {
    const double per_level = st.w.hap_GOR[g] == 0b011 ? sc.dependence : 0.0;
    EXPECT_NEAR(r.est[first + g], per_level, 3.5 * r.se[first + g]) << g;
    EXPECT_NEAR(r.est[first + G + g], 2 * per_level, 3.5 * r.se[first + G + g]) << g;
  }
  EXPECT_EQ(r.est[first + st.w.qq], -7.0);  // stratum parameters are not reported
}

TEST(CaseControlDependent, RetriesWithFewerDependenceHaplotypesDownToOne) {
  // Haplotype 100, the last dependence haplotype, never occurs in the top level of
  // E: its dependence parameter there runs off and its variance is unusable.
  Scenario sc;
  sc.absent_in_top = true;
  Study st(sc);
  const int G = st.prep.G;
  ASSERT_EQ(G, 3);
  ASSERT_EQ(st.w.hap_GOR[G - 1], 0b100);
  CCModel m(st.w, st.study, st.hapmap());
  m.set_dependence(G);
  std::vector<double> theta = st.off_optimum(m.n);
  double loglik;
  int iter;
  ASSERT_EQ(A5_v_CC(m, theta.data(), &loglik, &iter), 1);
  Mat<double> V;
  EXPECT_EQ(A5_std_CC(m, theta.data(), V), 0);

  A5Run r(st, G);
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(st.w.qq, st.w.pD * (G - 1));
  const int first = st.w.q + st.w.KK;
  for (int k = 0; k < st.w.qq; k++) EXPECT_GT(r.se[first + k], 0.0);
  EXPECT_EQ(r.est[first + st.w.qq], -7.0);

  // No dependence haplotype at all: nothing is fitted and nothing written.
  for (int G0 : {0, -1}) {
    A5Run none(st, G0);
    EXPECT_EQ(none.ok, 0);
    EXPECT_EQ(none.est[0], -7.0);
    EXPECT_EQ(none.loglik, 1.5);
    EXPECT_EQ(none.iter, 3);
  }
}
