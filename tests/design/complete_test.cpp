// Complete-data fits of one SNP, checked against R on the simulated study of
// sample_study.h (the 185 subjects typed at the SNP), plus the deliberate order
// of the trait copy and the binary recoding. (The failures are in
// analyses/fail_reason_test.cpp.)
//
// The reference numbers were computed once with R 4 on exactly these data, with
// het = (g == 1), hom = (g == 2), dom = (g >= 1):
//   glm(status ~ ..., family = binomial, control = glm.control(epsilon = 1e-14))
//   survival::coxph(Surv(time, event) ~ ..., ties = "breslow")
//   lm(trait ~ ...)
// Each table lists the coefficients in the order the fit reports them (genetic
// terms, covariate terms and products, covariate-by-genetic products, intercept).
#include <gtest/gtest.h>

#include "design/complete.h"
#include "design/readin.h"
#include "design/model_builder.h"
#include "design/sample_study.h"

namespace {

// Newton stops at a step of L1 length 1e-4 and the logistic and Cox standard
// errors come from the information one step before the end: agreement to 1e-4.
constexpr double kAgreement = 1e-4;

struct Reference {
  const char* term;
  double est, se;
};

struct Fit {
  int ok = 0;
  std::vector<double> est, se;
};

using sample::model;

Fit fit(const Model& m, const StudyData& study, bool raw_trait = false) {
  Window w;
  w.set_size(5);
  Fit f;
  f.ok = stan_single(f.est, f.se, study, 0, m, w, raw_trait);
  EXPECT_EQ(w.M, 5);  // the window's size is restored
  return f;
}

void expect_matches(const Fit& f, const std::vector<Reference>& ref, double scale = 1.0) {
  ASSERT_EQ(f.ok, 1);
  ASSERT_EQ(f.est.size(), ref.size());
  ASSERT_EQ(f.se.size(), ref.size());
  for (std::size_t a = 0; a < ref.size(); a++) {
    EXPECT_NEAR(f.est[a], scale * ref[a].est, kAgreement) << ref[a].term;
    EXPECT_NEAR(f.se[a], scale * ref[a].se, kAgreement) << ref[a].term << " (standard error)";
  }
}

}  // namespace

TEST(CompleteData, FitsAgreeWithR) {
  const struct {
    const char* r_call;
    int design, mode;
    const char* effect;
    std::vector<Reference> ref;
  } cases[] = {
      {"glm(status ~ g + x1 + factor(c) + x1:g, family = binomial)", kCaseControl, kAdditive, "X1 C G X1*G",
       {{"G", 0.3851498902, 0.2906820957}, {"X1", 0.7725127579, 0.2315491238}, {"C(2)", 0.1983261407, 0.4022274116},
        {"C(3)", -0.7084437163, 0.4279062364}, {"X1*G", 0.8516427336, 0.4162706543},
        {"intercept", 0.0173465282, 0.3012450470}}},
      {"glm(status ~ g, family = binomial)", kCaseControl, kAdditive, "G",
       {{"G", 0.3320227955, 0.2363109148}, {"intercept", -0.0308506548, 0.2010532005}}},
      {"glm(status ~ hom + x1, family = binomial)", kCaseControl, kRecessive, "X1 G",
       {{"G", 0.7561881493, 0.6550587075}, {"X1", 1.0650061298, 0.1958497028},
        {"intercept", 0.0304129815, 0.1718568542}}},
      {"glm(status ~ dom + x1, family = binomial)", kCaseControl, kDominant, "X1 G",
       {{"G", 0.4324412382, 0.3341987764}, {"X1", 1.0985103457, 0.1986171780},
        {"intercept", -0.1397911009, 0.2414775606}}},
      {"glm(status ~ het + hom + x1 + x1:het + x1:hom, family = binomial)", kCaseControl, kCodominant, "X1 G X1*G",
       {{"G(1)", 0.3408045525, 0.3560559069}, {"G(2)", 0.7558475904, 0.7639966262},
        {"X1", 0.7365154702, 0.2278601357}, {"X1*G(1)", 0.9601651272, 0.4671241087},
        {"X1*G(2)", 1.5183582268, 1.4464385584}, {"intercept", -0.0830801557, 0.2272581917}}},
      // Cox regression has no intercept.
      {"coxph(Surv(time, event) ~ g + x1 + factor(c) + x1:g, ties = \"breslow\")", kCohort, kAdditive, "X1 C G X1*G",
       {{"G", 0.7763174653, 0.1617759652}, {"X1", 0.5573860596, 0.1280121127}, {"C(2)", 0.3467630218, 0.2126887993},
        {"C(3)", 0.1385737519, 0.2277559915}, {"X1*G", -0.2106206254, 0.1530572837}}},
      {"coxph(Surv(time, event) ~ het + hom + x1, ties = \"breslow\")", kCohort, kCodominant, "X1 G",
       {{"G(1)", 0.4946593046, 0.1917366140}, {"G(2)", 1.6382948981, 0.3101427040},
        {"X1", 0.4353099573, 0.0964435699}}},
      {"lm(trait ~ g + x1 + factor(c) + x1:factor(c))", kCrossSectional, kAdditive, "X1 C G X1*C",
       {{"G", 0.4760485941, 0.0662942966}, {"X1", 0.9372403779, 0.0627691277},
        {"X1*C(2)", -0.1561845032, 0.0937787442}, {"X1*C(3)", -0.0659503347, 0.1160134483},
        {"C(2)", 0.4424019337, 0.0989568103}, {"C(3)", -0.1819465869, 0.1061203855},
        {"intercept", 0.9556896980, 0.0760584806}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.r_call);
    StudyData d = sample::study_data();
    expect_matches(fit(model(c.design, c.mode, c.effect), d), c.ref);
    EXPECT_EQ(d.cs_bin, 0);
  }
}

TEST(CompleteData, FirstSnpFitsTheRawTwoValuedTraitLaterOnesTheRecodedOne) {
  StudyData d = sample::study_data();
  for (double& y : d.TRAIT) y = y > 1.5 ? 2.0 : 0.0;
  const Model m = model(kCrossSectional, kAdditive, "X1 G");
  // lm(b ~ g + x1) with b = 2 * (trait > 1.5)
  const std::vector<Reference> raw = {
      {"G", 0.2841897395, 0.0864008574}, {"X1", 0.6435188552, 0.0547331041}, {"intercept", 0.7601158001, 0.0750918528}};
  classify_trait(d);
  EXPECT_EQ(d.cs_bin, 1);
  for (double y : d.TRAIT) EXPECT_TRUE(y == 0.0 || y == 1.0);
  expect_matches(fit(m, d, true), raw);
  // A later SNP sees 0/1: every estimate and standard error halves.
  expect_matches(fit(m, d), raw, 0.5);
}

TEST(CompleteData, CoxIgnoresSubjectsLeavingBeforeTheFirstFailure) {
  // Subjects censored before the earliest failure (time 1) are in no risk set.
  const Model m = model(kCohort, kCodominant, "X1 G");
  StudyData d = sample::study_data();
  const Fit before = fit(m, d);
  sample::Study s = sample::study();
  for (int extra = 0; extra < 5; extra++) {
    s.x1.push_back(2.0 - extra);
    s.c.push_back(1.0 + extra % 3);
    s.geno.push_back(extra % 3);
    s.time.push_back(0.15 * (extra + 1));
    s.event.push_back(0);
  }
  StudyData more = testmodel::make_study({s.x1, s.c}, s.geno);
  more.TIME = s.time;
  more.EVENT = s.event;
  const Fit after = fit(m, more);
  ASSERT_EQ(after.ok, 1);
  for (std::size_t a = 0; a < before.est.size(); a++) {
    EXPECT_DOUBLE_EQ(after.est[a], before.est[a]);
    EXPECT_DOUBLE_EQ(after.se[a], before.se[a]);
  }
}
