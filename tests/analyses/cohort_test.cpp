// The cohort haplotype analyses: the M-step gradient against finite differences,
// the risk sums of a hand-made table, agreement with Cox regression when every
// pair is observed, and recovery of a simulated effect with missing genotypes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "analyses/analyses.h"
#include "analyses/cohort.h"
#include "core/failtable.h"
#include "design/complete.h"
#include "design/dispatch.h"
#include "design/model_builder.h"

namespace {

struct Lcg {
  std::uint64_t s;
  double uniform() {
    s = s * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<double>(s >> 11) / 9007199254740992.0;
  }
};

// Three-SNP haplotypes, target first. Tags 01 and 10 go with target allele 1,
// 00 and 11 with allele 0, so an untyped target is told by its tags.
int draw_haplotype(Lcg& r) {
  const double u = r.uniform();
  return u < 0.4 ? 0b000 : u < 0.7 ? 0b101 : u < 0.9 ? 0b110 : 0b011;
}

void genotype_row(Mat<int>& g, int row, int h1, int h2) {
  for (int j = 0; j < 3; j++) g[row][j] = ((h1 >> (2 - j)) & 1) + ((h2 >> (2 - j)) & 1);
}

struct Options {
  int n = 600;
  double beta = 0.7;        // log hazard ratio per target allele
  bool covariate = false;   // binary X (log hazard ratio 0.5), DEPENDENT: more frequent with haplotype 101
  bool panel = false;       // 100 panel singletons; the target is then untyped in the whole study
  bool homozygous = false;  // both haplotypes alike, target always typed: one pair per subject
};

// A simulated cohort: exponential failure and censoring times.
struct Cohort {
  Options o;
  Model model;
  StudyData study;
  Mat<int> geno, geno_ex;

  explicit Cohort(const Options& opt) : o(opt) {
    Lcg r{7};
    study.n = study.n_total = o.n;
    study.p = study.nsnp = 1;
    geno = imatrix(0, o.n - 1, 0, 2);
    for (int i = 0; i < o.n; i++) {
      const int h1 = draw_haplotype(r), h2 = o.homozygous ? h1 : draw_haplotype(r);
      genotype_row(geno, i, h1, h2);
      const double x = r.uniform() < 0.3 + 0.15 * ((h1 == 0b101) + (h2 == 0b101)) ? 1.0 : 0.0;
      const double failure = -std::log(1.0 - r.uniform()) / (0.1 * std::exp(o.beta * geno[i][0] + 0.5 * x));
      const double censor = -std::log(1.0 - r.uniform()) / 0.08;
      study.TIME.push_back(std::min(failure, censor));
      study.EVENT.push_back(failure < censor ? 1 : 0);
      study.cov.push_back(o.covariate ? x : 0.0);
      study.geno.push_back(static_cast<std::uint8_t>(geno[i][0]));
      if (o.panel || (!o.homozygous && r.uniform() < 0.3)) geno[i][0] = 9;
    }
    auto b = o.covariate ? testmodel::Builder(2, 1, {"X"}).dependent("X").categorical("X").term("X")
                         : testmodel::Builder(2, 1, {"X"});
    model = b.term("G", 2).model();
    model.nUN = o.panel ? 100 : 0;
    geno_ex = imatrix(0, model.nUN - 1, 0, 2);
    for (int u = 0; u < model.nUN; u++) genotype_row(geno_ex, u, draw_haplotype(r), draw_haplotype(r));
  }

  // A freshly prepared window (an analysis consumes the list).
  void prepare(Window& w, WindowPrep& prep) {
    w.set_size(3);
    w.design = 2;
    w.pH = 1;
    w.ext = o.panel ? 1 : 0;
    ASSERT_EQ(prepare_window(w, geno, geno_ex, model, study, prep), 1);
  }
};

struct Result {
  std::vector<double> est = std::vector<double>(32, 0.0), se = std::vector<double>(32, 0.0);
  double loglik = 0.0;
  int iter = 0, ok = 0;
};

// A6_CO with the dispatcher's ndep (or the one given), else A6_ind_HWE under analysis class anal.
Result analyse(Cohort& c, int anal = -1, int ndep = -100) {
  Window w;
  WindowPrep prep;
  c.prepare(w, prep);
  Result r;
  if (c.o.covariate)
    r.ok = A6_CO(w, c.study, r.est.data(), r.se.data(), &r.loglik, &r.iter, prep.rankmap.data(), prep.freq.data(),
                 ndep == -100 ? prep.G : ndep);
  else {
    if (anal >= 0) w.anal = anal;
    r.ok = A6_ind_HWE(w, c.study, r.est.data(), r.se.data(), &r.loglik, &r.iter, prep.rankmap.data(),
                      prep.freq.data());
  }
  return r;
}

double objective_at(Window& w, CohortWork& cw, const std::vector<double>& theta) {
  exp_eval_CO(w, cw, theta.data());
  ford_eval_CO(w, cw);
  return loglike_CO(w, cw);
}

}  // namespace

TEST(CohortAnalysis, GradientMatchesFiniteDifferencesWithWeightsFixed) {
  for (int dependence = 0; dependence <= 1; dependence++) {
    Options o;
    o.n = 150;
    o.covariate = o.panel = dependence == 1;
    Cohort c(o);
    Window w;
    WindowPrep prep;
    c.prepare(w, prep);
    makeFlist(w, c.study.TIME.data(), c.study.EVENT.data());
    CohortWork cw;
    prepare_cohort(w, c.study, prep.rankmap.data(), dependence == 1, cw);
    if (dependence) set_dependence(w, cw, w.pD * prep.G);
    std::vector<double> theta(static_cast<std::size_t>(cw.P)), g(theta.size());
    start_values(w, cw, prep.freq.data(), theta.data());
    for (int i = 0; i < cw.P; i++) theta[i] += 0.1 * (i % 3) - 0.05;  // away from the start's symmetries
    exp_eval_CO(w, cw, theta.data());
    back_eval_CO(w, cw);
    link_eval_CO(w, cw);  // weights fixed from here
    objective_at(w, cw, theta);
    dloglike_CO(w, cw, g.data());
    const double h = 1e-5;
    for (int i = 0; i < cw.P; i++) {
      std::vector<double> t = theta;
      t[i] += h;
      const double up = objective_at(w, cw, t);
      t[i] -= 2 * h;
      EXPECT_NEAR(g[i], (up - objective_at(w, cw, t)) / (2 * h), 1e-4 * (1.0 + std::fabs(g[i])))
          << "parameter " << i << (dependence ? " (dependence, panel)" : "");
    }
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
  for (int i = 0; i < 6; i++) geno[i][0] = g[static_cast<std::size_t>(i)];
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
  for (int dependence = 0; dependence <= 1; dependence++) {
    Options o;
    o.n = 1500;
    o.beta = 0.35;
    o.homozygous = true;
    o.covariate = dependence == 1;
    Cohort c(o);
    Window single;
    std::vector<double> cox_est, cox_se;
    ASSERT_EQ(stan_single(cox_est, cox_se, c.study, 0, c.model, single), 1);
    const Result r = analyse(c);
    ASSERT_EQ(r.ok, 1);
    for (std::size_t k = 0; k < cox_est.size(); k++) {
      EXPECT_NEAR(r.est[k], cox_est[k], 1e-3) << "coefficient " << k;
      EXPECT_NEAR(r.se[k] / cox_se[k], 1.0, 0.05) << "coefficient " << k;
    }
  }
}

TEST(CohortAnalysis, EntryConditions) {
  Options o;
  o.n = 300;
  Cohort plain(o);
  const Result one = analyse(plain, 1), two = analyse(plain, 2);
  ASSERT_EQ(one.ok, 1);
  EXPECT_TRUE(one.est == two.est && one.se == two.se && one.loglik == two.loglik && one.iter == two.iter);

  o.covariate = true;
  Cohort dependent(o);
  for (int ndep : {0, -1}) {
    const Result r = analyse(dependent, -1, ndep);
    EXPECT_EQ(r.ok + r.iter, 0) << "nothing fitted for ndep " << ndep;
  }
}

TEST(CohortAnalysis, RecoversSimulatedEffectWithMissingGenotypes) {
  for (int run = 0; run < 3; run++) {
    Options o;
    o.n = 800;
    o.panel = run == 1;
    o.covariate = run == 2;
    Cohort c(o);
    const Result r = analyse(c);
    ASSERT_EQ(r.ok, 1) << "run " << run;
    EXPECT_NEAR(r.est[0], o.beta, 3.0 * r.se[0]) << "run " << run;
    EXPECT_GT(r.se[0], 0.02);
    EXPECT_LT(r.se[0], 0.15);
    if (o.covariate) {
      EXPECT_NEAR(r.est[1], 0.5, 3.0 * r.se[1]);
    }
    EXPECT_NEAR(r.est[o.covariate ? 2 : 1], 0.4, 0.06);  // frequency of the reference haplotype 000
  }
}
