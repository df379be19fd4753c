// The cohort haplotype analyses: the M-step gradient against finite differences,
// the risk sums of a hand-made table, agreement with Cox regression when every
// pair is observed, and recovery of a simulated effect with missing genotypes.
#include <gtest/gtest.h>

#include <algorithm>

#include "analyses/analyses.h"
#include "analyses/cohort.h"
#include "analyses/sim.h"
#include "core/failtable.h"
#include "design/complete.h"

using sim::at;

namespace {

// Tags 01 and 10 go with target allele 1, 00 and 11 with allele 0, so an
// untyped target is told by its tags.
const sim::Haplotypes kHaplotypes{{0b000, 0b101, 0b110, 0b011}, {0.4, 0.7, 0.9, 1.0}};

struct Options {
  int n = 600;
  double beta = 0.7;        // log hazard ratio per target allele
  bool covariate = false;   // binary X (log hazard ratio 0.5), DEPENDENT: more frequent with haplotype 101
  bool panel = false;       // 100 panel singletons; the target is then untyped in the whole study
  bool homozygous = false;  // both haplotypes alike, target always typed: one pair per subject
};

// Exponential failure and censoring times.
sim::Sample cohort(const Options& o) {
  sim::Lcg r(7);
  sim::Sample s;
  s.study = testmodel::make_study({std::vector<double>(at(o.n))}, std::vector<int>(at(o.n)));
  s.study.TIME.clear();
  s.study.EVENT.clear();
  s.geno = imatrix(0, o.n - 1, 0, 2);
  for (int i = 0; i < o.n; i++) {
    const int h1 = kHaplotypes.draw(r), h2 = o.homozygous ? h1 : kHaplotypes.draw(r);
    sim::genotype_row(s.geno, i, h1, h2);
    const double x = r.uniform() < 0.3 + 0.15 * ((h1 == 0b101) + (h2 == 0b101)) ? 1.0 : 0.0;
    const double failure = -std::log(1.0 - r.uniform()) / (0.1 * std::exp(o.beta * s.geno[i][0] + 0.5 * x));
    const double censor = -std::log(1.0 - r.uniform()) / 0.08;
    s.study.TIME.push_back(std::min(failure, censor));
    s.study.EVENT.push_back(failure < censor ? 1 : 0);
    s.study.cov[at(i)] = o.covariate ? x : 0.0;
    s.study.geno[at(i)] = static_cast<std::uint8_t>(s.geno[i][0]);
    if (o.panel || (!o.homozygous && r.uniform() < 0.3)) s.geno[i][0] = 9;
  }
  testmodel::Builder b(2, 1, {"X"});
  if (o.covariate) b.dependent("X").categorical("X").effect("X");
  s.model = b.output("G").model();
  if ((s.ext = o.panel)) {
    s.model.nUN = 100;
    s.geno_ex = sim::panel(r, kHaplotypes, 0, 0, 100);
  }
  s.prepare();
  return s;
}

// A6_CO with the dispatcher's ndep when there is a covariate, else A6_ind_HWE.
sim::Result analyse(sim::Sample& s, bool covariate) {
  s.prepare();
  return covariate ? sim::run(A6_CO, s, s.prep.G) : sim::run(A6_ind_HWE, s);
}

}  // namespace

TEST(CohortAnalysis, GradientMatchesFiniteDifferencesWithWeightsFixed) {
  for (bool dependence : {false, true}) {
    SCOPED_TRACE(dependence ? "dependence, panel" : "no dependence");
    sim::Sample s = cohort({.n = 150, .covariate = dependence, .panel = dependence});
    Window& w = s.w;
    makeFlist(w, s.study.TIME.data(), s.study.EVENT.data());
    CohortWork cw;
    prepare_cohort(w, s.study, s.hapmap(), dependence, cw);
    if (dependence) set_dependence(w, cw, w.pD * s.prep.G);
    std::vector<double> theta(at(cw.P)), g(theta.size());
    start_values(w, cw, s.freq(), theta.data());
    for (int i = 0; i < cw.P; i++) theta[at(i)] += 0.1 * (i % 3) - 0.05;  // away from the start's symmetries
    exp_eval_CO(w, cw, theta.data());
    back_eval_CO(w, cw);
    link_eval_CO(w, cw);  // weights fixed from here
    auto objective = [&](const std::vector<double>& t) {
      exp_eval_CO(w, cw, t.data());
      ford_eval_CO(w, cw);
      return loglike_CO(w, cw);
    };
    objective(theta);
    dloglike_CO(w, cw, g.data());
    sim::expect_gradient(g, fd::gradient(objective, theta));
  }
}

TEST(CohortAnalysis, RiskSumsFollowTheFailureTable) {
  // One SNP, one pair per subject. Failures at 2 and, tied, 5; the subject
  // censored at 1 is before the first failure and in no risk set.
  const std::vector<int> g = {2, 0, 2, 1, 0, 2};
  StudyData study = testmodel::make_study({}, g);
  study.TIME = {2.0, 5.0, 3.0, 5.0, 1.0, 7.0};
  study.EVENT = {1, 1, 0, 1, 0, 0};
  Mat<int> geno = imatrix(0, 5, 0, 0);
  for (int i = 0; i < 6; i++) geno[i][0] = g[at(i)];
  Window w;
  w.set_size(1);
  w.design = 2;
  w.pH = 1;
  WindowPrep prep;
  ASSERT_EQ(prepare_window(w, geno, Mat<int>(), testmodel::Builder(2, 1, {}).term("G", 2).model(), study, prep), 1);
  makeFlist(w, study.TIME.data(), study.EVENT.data());
  ASSERT_EQ(w.T, 2);
  CohortWork cw;
  prepare_cohort(w, study, prep.rankmap.data(), false, cw);
  const std::vector<double> theta = {0.5, -0.3};  // beta, alpha_1
  exp_eval_CO(w, cw, theta.data());
  back_eval_CO(w, cw);
  link_eval_CO(w, cw);
  ford_eval_CO(w, cw);
  lam_eval_CO(w, cw);
  // Relative risk exp(0.5 x allele count): e for subjects 0, 2, 5, e^0.5 for subject 3.
  const double e = std::exp(1.0), S2 = 1.0 + std::exp(0.5) + e, S1 = S2 + 2.0 * e;
  EXPECT_NEAR(w.Fp[2].risksum, S2, 1e-12);
  EXPECT_NEAR(w.Fp[1].risksum, S1, 1e-12);
  EXPECT_EQ(w.Fp[0].risksum, 1.0);
  EXPECT_NEAR(cw.lambda[1], 1.0 / S1, 1e-12);
  EXPECT_NEAR(cw.lambda[2], 2.0 / S2, 1e-12);
}

TEST(CohortAnalysis, FullyObservedPairsReproduceCoxRegression) {
  for (bool covariate : {false, true}) {
    sim::Sample s = cohort({.n = 1500, .beta = 0.35, .covariate = covariate, .homozygous = true});
    Window single;
    std::vector<double> cox_est, cox_se;
    ASSERT_EQ(stan_single(cox_est, cox_se, s.study, 0, s.model, single), 1);
    const sim::Result r = analyse(s, covariate);
    ASSERT_EQ(r.ok, 1);
    for (std::size_t k = 0; k < cox_est.size(); k++) {
      EXPECT_NEAR(r.est[k], cox_est[k], 1e-3) << "coefficient " << k;
      EXPECT_NEAR(r.se[k] / cox_se[k], 1.0, 0.05) << "coefficient " << k;
    }
  }
}

TEST(CohortAnalysis, NoDependenceHaplotypeFitsNothing) {
  sim::Sample s = cohort({.n = 300, .covariate = true});
  for (int ndep : {0, -1}) {
    s.prepare();
    const sim::Result r = sim::run(A6_CO, s, ndep);
    EXPECT_EQ(r.ok, 0) << "ndep " << ndep;
    EXPECT_EQ(s.w.fail.check, Check::kNoDependence);
    EXPECT_STREQ(s.w.fail.stage, "A6_CO");
    EXPECT_EQ(r.iter, -7);
    EXPECT_EQ(r.est[0], -7.0);
  }
}

TEST(CohortAnalysis, RecoversSimulatedEffectWithMissingGenotypes) {
  for (int run = 0; run < 3; run++) {
    SCOPED_TRACE(run == 0 ? "study only" : run == 1 ? "panel" : "dependent covariate");
    const Options o{.n = 800, .covariate = run == 2, .panel = run == 1};
    sim::Sample s = cohort(o);
    const sim::Result r = analyse(s, o.covariate);
    ASSERT_EQ(r.ok, 1);
    EXPECT_NEAR(r.est[0], o.beta, 3.0 * r.se[0]);
    EXPECT_GT(r.se[0], 0.02);
    EXPECT_LT(r.se[0], 0.15);
    if (o.covariate) {
      EXPECT_NEAR(r.est[1], 0.5, 3.0 * r.se[1]);
    }
    EXPECT_NEAR(r.est[o.covariate ? 2 : 1], 0.4, 0.06);  // frequency of the reference haplotype 000
  }
}
