// Every failed analysis says why: crafted windows and studies that hit the checks
// of the dispatcher, the haplotype analyses and the complete-data fits, each
// leaving its stage and check in the window it failed on.
#include <gtest/gtest.h>

#include "analyses/a4.h"
#include "analyses/a5_cc.h"
#include "analyses/newton.h"
#include "analyses/analyses.h"
#include "design/complete.h"
#include "sim.h"

namespace {

using sim::at;

// A case-control G-only model over one SNP.
Model g_only() {
  Model model;
  model.pH = 1;
  model.names = {"G"};
  model.effect[0][0] = 2;
  return model;
}

// Prepares a window of M SNPs from study genotypes geno (and panel genotypes
// geno_ex when given); returns the verdict and leaves the reason in w.
int prepare(Window& w, int M, const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model,
            const StudyData& study) {
  w = Window();
  w.set_size(M);
  w.pH = 1;
  w.ext = geno_ex.rows() > 0 ? 1 : 0;
  WindowPrep prep;
  return prepare_window(w, geno, geno_ex, model, study, prep);
}

void expect_reason(const Window& w, const char* stage, Check check) {
  EXPECT_STREQ(w.fail.stage, stage);
  EXPECT_EQ(w.fail.check, check) << check_text(w.fail.check);
}

StudyData case_control_study(int n) {
  StudyData study;
  study.n = study.n_total = n;
  study.STATUS.assign(at(n), 0);
  for (int i = 0; i < n; i += 2) study.STATUS[at(i)] = 1;
  return study;
}

}  // namespace

TEST(FailReasons, WindowsTheDispatcherCannotAnalyse) {
  const Model model = g_only();
  Mat<int> none;
  {
    // Nine SNPs missing in everybody: EM keeps 1/512 for every haplotype, below 0.002.
    StudyData study = case_control_study(4);
    Mat<int> geno = imatrix(0, 3, 0, 8);
    geno.fill(9);
    Window w;
    EXPECT_EQ(prepare(w, 9, geno, none, model, study), 0);
    expect_reason(w, "A51_A61_A71", Check::kNothingRetained);
  }
  {
    // Only cases: no control is left in the window.
    StudyData study = case_control_study(40);
    study.STATUS.assign(40, 1);
    Mat<int> geno = imatrix(0, 39, 0, 1);
    for (int i = 0; i < 40; i++) geno[i][0] = geno[i][1] = i % 3 == 0 ? 2 : 1;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, none, model, study), 0);
    expect_reason(w, "A51_A61_A71", Check::kNoCaseOrControl);
  }
  {
    // One study subject carrying haplotype 11 twice against a panel of 1000
    // singletons carrying 00: 11 falls below 0.002 and the subject is pruned.
    StudyData study = case_control_study(1);
    Mat<int> geno = imatrix(0, 0, 0, 1), panel = imatrix(0, 999, 0, 1);
    geno[0][0] = geno[0][1] = 2;
    panel.fill(0);
    Model with_panel = model;
    with_panel.nUN = 1000;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, panel, with_panel, study), 0);
    expect_reason(w, "A51_A61_A71", Check::kNobodyLeft);
  }
  {
    // No study subject and no panel: EM divides by nobody.
    StudyData study = case_control_study(0);
    Mat<int> geno;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, none, model, study), 0);
    expect_reason(w, "A51_A61_A71", Check::kFrequencyNan);
  }
}

TEST(FailReasons, HaplotypeAnalysesNameTheirCheck) {
  {
    // One retained haplotype: the genetic coefficient has no information.
    sim::Sample s = sim::case_control({.dependent = false, .covariate = false});
    for (int i = 0; i < s.study.n; i++)
      for (int j = 0; j < 3; j++) s.geno[i][j] = 2;
    s.prepare();
    ASSERT_EQ(s.w.KK, 1);
    EXPECT_EQ(sim::run(A4, s).ok, 0);
    expect_reason(s.w, "A4", Check::kExplosionBefore);
  }
  {
    // Haplotype 100 never occurs in the top level of E: with it among the
    // dependence haplotypes the variance is unusable.
    sim::Sample s = sim::case_control({.absent_in_top = true});
    CCModel m(s.w, s.study, s.hapmap());
    m.set_dependence(s.prep.G);
    std::vector<double> theta = s.off_optimum(m.n);
    double loglik;
    int iter;
    ASSERT_EQ(A5_v_CC(m, theta.data(), &loglik, &iter), 1);
    Mat<double> V;
    EXPECT_EQ(A5_std_CC(m, theta.data(), V), 0);
    expect_reason(s.w, "A5_CC", Check::kImproperStd);
  }
  {
    // No dependence haplotype: A5_CC fits nothing.
    sim::Sample s = sim::case_control({});
    EXPECT_EQ(sim::run(A5_CC, s, 0).ok, 0);
    expect_reason(s.w, "A5_CC", Check::kNoDependence);
  }
}

TEST(FailReasons, CompleteDataFitsNameTheirCheck) {
  const sample::Study base = sample::study();
  auto data = [&] {
    StudyData d = testmodel::make_study({base.x1, base.c}, base.geno);
    d.STATUS = base.status;
    d.TIME = base.time;
    d.EVENT = base.event;
    d.TRAIT = base.trait;
    return d;
  };
  auto model = [](int design, const std::string& effect, int mode = kAdditive) {
    return testmodel::Builder(design, mode, {"X1", "C"}).categorical("C").effect(effect).model();
  };
  auto reason = [](const StudyData& d, const Model& m) {
    Window w;
    w.set_size(5);
    std::vector<double> est, se;
    EXPECT_EQ(stan_single(est, se, d, 0, m, w), 0);
    return w.fail;
  };
  {
    StudyData d = data();
    for (std::size_t i = 0; i < d.STATUS.size(); i++) d.STATUS[i] = d.geno[i] >= 1 ? 1 : 0;
    const FailReason f = reason(d, model(kCaseControl, "G"));  // separated: the coefficient runs off
    EXPECT_STREQ(f.stage, "LG");
    EXPECT_EQ(f.check, Check::kExplosionAfter);
  }
  {
    StudyData d = data();
    d.EVENT.assign(d.EVENT.size(), 0);
    const FailReason f = reason(d, model(kCohort, "G"));  // no failure: no information
    EXPECT_STREQ(f.stage, "PH");
    EXPECT_EQ(f.check, Check::kExplosionBefore);
  }
  {
    StudyData d = data();
    for (std::size_t i = 0; i < d.STATUS.size(); i++) {
      d.EVENT[i] = d.geno[i] >= 1 ? 1 : 0;
      d.TIME[i] = d.geno[i] >= 1 ? 1.0 + 0.01 * static_cast<double>(i) : 100.0;
    }
    // Carriers fail first, the others are censored last: the information vanishes
    // as the coefficient runs off, before the 200 iterations are used up.
    const FailReason f = reason(d, model(kCohort, "G", kDominant));
    EXPECT_STREQ(f.stage, "PH");
    EXPECT_EQ(f.check, Check::kExplosionBefore);
  }
  {
    StudyData d = data();
    for (std::size_t i = 0; i < d.cov.size(); i += 2) d.cov[i] *= 1e-3;
    // A covariate spread over a thousandth: its variance exceeds 100.
    const FailReason f = reason(d, model(kCrossSectional, "X1 G"));
    EXPECT_STREQ(f.stage, "LS");
    EXPECT_EQ(f.check, Check::kImproperStd);
  }
  for (int design : {kCaseControl, kCohort, kCrossSectional}) {
    StudyData d = data();
    d.geno.assign(d.geno.size(), kMissingGenotype);
    const FailReason f = reason(d, model(design, "X1 C G"));
    EXPECT_STREQ(f.stage, "stan_single");
    EXPECT_EQ(f.check, Check::kNobodyTyped);
  }
}

// The damped Newton fit on made-up derivatives, one failure rule each.
TEST(FailReasons, DampedNewtonNamesEachRule) {
  auto fit_with = [](int P, double slope, double curvature, double coupling, bool never_lower) {
    NewtonFit fit;
    const int ok = damped_newton(
        std::vector<double>(at(P), 0.0), P,
        [&](const double* t, double* g, Mat<double>& H) {
          for (int i = 0; i < P; i++) g[i] = slope;
          for (int i = 1; i <= P; i++)
            for (int j = 1; j <= P; j++) H[i][j] = i != j ? 1.0 : curvature + (i == 2 ? coupling : 0.0);
          return slope * t[0];
        },
        [&](const double* t) { return never_lower ? 1e300 : slope * t[0]; }, false, fit);
    EXPECT_EQ(ok, 0);
    return fit.fail;
  };
  // A linear objective with a unit curvature claimed: every step is 1, for ever.
  EXPECT_EQ(fit_with(1, -1.0, 1.0, 0.0, false), Check::kFitCap);
  // No trial ever lowers the objective.
  EXPECT_EQ(fit_with(1, -1.0, 1.0, 0.0, true), Check::kNoDecrease);
  // Curvature below 1e-06 in every entry.
  EXPECT_EQ(fit_with(1, -1.0, 1e-7, 0.0, false), Check::kExplosionBefore);
  // Nearly singular: every entry of the inverse is at least 1e6.
  EXPECT_EQ(fit_with(2, -1.0, 1.0, 1e-7, false), Check::kExplosionAfter);
  // A small step at once, but a variance of 1000.
  EXPECT_EQ(fit_with(1, -1e-8, 1e-3, 0.0, false), Check::kImproperStd);
}
