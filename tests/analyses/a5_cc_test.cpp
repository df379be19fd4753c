// The case-control analysis with DEPENDENT covariates: its gradient is that of the
// expected objective, its information the Hessian of the observed objective (with
// and without the panel), and the retry over dependence haplotypes behaves.
#include <gtest/gtest.h>

#include "analyses/a5_cc.h"
#include "analyses/analyses.h"
#include "analyses/sim.h"

using sim::at;

TEST(CaseControlDependent, DerivativesMatchFiniteDifferences) {
  for (bool panel : {false, true}) {
    SCOPED_TRACE(panel ? "with panel" : "without panel");
    sim::Sample s = sim::case_control({.interaction = true, .panel = panel});
    ASSERT_EQ(s.w.anal, 0);
    ASSERT_EQ(s.w.J, 3);
    ASSERT_EQ(s.w.pD, 2);
    ASSERT_EQ(s.prep.G, 3);
    CCModel m(s.w, s.study, s.hapmap());
    m.set_dependence(s.prep.G);
    ASSERT_EQ(m.n, 6 + 5 + s.w.KK + 3 - 2);
    const std::vector<double> theta = s.off_optimum(m.n);
    // The expected objective with the E-step weights held at theta.
    exp_eval_CC(m, theta.data());
    link_eval_CC(m);
    std::vector<double> g(at(m.n));
    dloglike_CC(m, g.data());
    sim::expect_gradient(g, fd::gradient([&](const std::vector<double>& t) {
      exp_eval_CC(m, t.data());
      return loglike_CC(m);
    }, theta, 1e-4));
    Mat<double> I;
    A5_info_CC(m, theta.data(), I);
    sim::expect_matrix(I, fd::hessian([&](const std::vector<double>& t) {
      exp_eval_CC(m, t.data());
      return obs_loglike_CC(m);
    }, theta), m.n);
  }
}

TEST(CaseControlDependent, RecoversSimulatedEffectsAndDependence) {
  const sim::Scenario sc{.n = 1500, .seed = 77};
  sim::Sample s = sim::case_control(sc);
  const int G = s.prep.G;
  const sim::Result r = sim::run(A5_CC, s, G);
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(s.w.qq, s.w.pD * G);
  EXPECT_GT(r.iter, 1);
  // Genotype, then the two levels of E (effects 0.5 and 1.0).
  EXPECT_NEAR(r.est[0], sc.beta_g, 3.5 * r.se[0]);
  EXPECT_NEAR(r.est[1], sc.beta_e, 3.5 * r.se[1]);
  EXPECT_NEAR(r.est[2], 2 * sc.beta_e, 3.5 * r.se[2]);
  EXPECT_LT(r.se[0], 0.2);
  // E depends on haplotype 011 by 0.6 per level, on no other haplotype.
  const int first = s.w.q + s.w.KK;
  for (int g = 0; g < G; g++) {
    const double per_level = s.w.hap_GOR[at(g)] == 0b011 ? sc.dependence : 0.0;
    EXPECT_NEAR(r.est[at(first + g)], per_level, 3.5 * r.se[at(first + g)]) << g;
    EXPECT_NEAR(r.est[at(first + G + g)], 2 * per_level, 3.5 * r.se[at(first + G + g)]) << g;
  }
  EXPECT_EQ(r.est[at(first + s.w.qq)], -7.0);  // stratum parameters are not reported
}

TEST(CaseControlDependent, RetriesWithFewerDependenceHaplotypesDownToOne) {
  // Haplotype 100, the last dependence haplotype, never occurs in the top level of
  // E: its dependence parameter there runs off and its variance is unusable.
  sim::Sample s = sim::case_control({.absent_in_top = true});
  const int G = s.prep.G;
  ASSERT_EQ(G, 3);
  ASSERT_EQ(s.w.hap_GOR[at(G - 1)], 0b100);
  CCModel m(s.w, s.study, s.hapmap());
  m.set_dependence(G);
  std::vector<double> theta = s.off_optimum(m.n);
  double loglik;
  int iter;
  ASSERT_EQ(A5_v_CC(m, theta.data(), &loglik, &iter), 1);
  Mat<double> V;
  EXPECT_EQ(A5_std_CC(m, theta.data(), V), 0);
  sim::expect_reason(s.w, "A5_CC", Check::kImproperStd);

  const sim::Result r = sim::run(A5_CC, s, G);
  ASSERT_EQ(r.ok, 1);
  EXPECT_EQ(s.w.qq, s.w.pD * (G - 1));
  const int first = s.w.q + s.w.KK;
  for (int k = 0; k < s.w.qq; k++) EXPECT_GT(r.se[at(first + k)], 0.0);
  EXPECT_EQ(r.est[at(first + s.w.qq)], -7.0);

  // No dependence haplotype at all: nothing is fitted and nothing written.
  for (int G0 : {0, -1}) {
    const sim::Result none = sim::run(A5_CC, s, G0);
    EXPECT_EQ(none.ok, 0);
    EXPECT_EQ(none.est[0], -7.0);
    EXPECT_EQ(none.loglik, -7.0);
    EXPECT_EQ(none.iter, -7);
    sim::expect_reason(s.w, "A5_CC", Check::kNoDependence);
  }
}
