// Every failed fit says why: crafted studies that hit the checks of the
// complete-data fits, and made-up derivatives for each rule of the damped Newton
// fit. (The dispatcher's and the haplotype analyses' checks are tested with them.)
#include <gtest/gtest.h>

#include "analyses/newton.h"
#include "design/complete.h"
#include "design/sample_study.h"

using sample::model;

TEST(FailReasons, CompleteDataFitsNameTheirCheck) {
  auto data = sample::study_data;
  auto reason = [](const StudyData& d, const Model& m) {
    Window w;
    w.set_size(5);
    std::vector<double> est, se;
    EXPECT_EQ(stan_single(est, se, d, 0, m, w), 0);
    EXPECT_EQ(w.M, 5);  // the window's size is restored
    return w.fail;
  };
  {
    StudyData d = data();
    for (std::size_t i = 0; i < d.STATUS.size(); i++) d.STATUS[i] = d.geno[i] >= 1 ? 1 : 0;
    const FailReason f = reason(d, model(kCaseControl, kAdditive, "G"));  // separated: the coefficient runs off
    EXPECT_STREQ(f.stage, "LG");
    EXPECT_EQ(f.check, Check::kExplosionAfter);
  }
  {
    StudyData d = data();
    d.EVENT.assign(d.EVENT.size(), 0);
    const FailReason f = reason(d, model(kCohort, kAdditive, "G"));  // no failure: no information
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
    const FailReason f = reason(d, model(kCohort, kDominant, "G"));
    EXPECT_STREQ(f.stage, "PH");
    EXPECT_EQ(f.check, Check::kExplosionBefore);
  }
  {
    StudyData d = data();
    for (std::size_t i = 0; i < d.cov.size(); i += 2) d.cov[i] *= 1e-3;
    // A covariate spread over a thousandth: its variance exceeds 100.
    const FailReason f = reason(d, model(kCrossSectional, kAdditive, "X1 G"));
    EXPECT_STREQ(f.stage, "LS");
    EXPECT_EQ(f.check, Check::kImproperStd);
  }
  for (int design : {kCaseControl, kCohort, kCrossSectional}) {
    StudyData d = data();
    d.geno.assign(d.geno.size(), kMissingGenotype);
    const FailReason f = reason(d, model(design, kAdditive, "X1 C G"));
    EXPECT_STREQ(f.stage, "stan_single");
    EXPECT_EQ(f.check, Check::kNobodyTyped);
  }
}

// The damped Newton fit on made-up derivatives, one failure rule each.
TEST(FailReasons, DampedNewtonNamesEachRule) {
  auto fit_with = [](int P, double slope, double curvature, double coupling, bool never_lower) {
    NewtonFit fit;
    const int ok = damped_newton(
        std::vector<double>(static_cast<std::size_t>(P), 0.0), P,
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
