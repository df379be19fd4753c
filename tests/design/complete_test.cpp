// Complete-data fits of one SNP, checked against R on the simulated study of
// sample_study.h (the 185 subjects typed at the SNP), plus the coefficient
// counts, the deliberate order of the trait copy and the binary recoding, and
// the failures that must end cleanly.
//
// The reference numbers were computed once with R 4 on exactly these data, with
// het = (g == 1), hom = (g == 2), dom = (g >= 1):
//   glm(status ~ ..., family = binomial, control = glm.control(epsilon = 1e-14))
//   survival::coxph(Surv(time, event) ~ ..., ties = "breslow")
//   lm(trait ~ ...)
// Each table lists the coefficients in the order the fit reports them (genetic
// terms, covariate terms and products, covariate-by-genetic products, intercept).
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "design/complete.h"
#include "design/model_builder.h"
#include "design/sample_study.h"

namespace {

using testmodel::Builder;
using testmodel::make_study;

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

StudyData sample_data() {
  const sample::Study s = sample::study();
  StudyData d = make_study({s.x1, s.c}, s.geno);
  d.STATUS = s.status;
  d.TIME = s.time;
  d.EVENT = s.event;
  d.TRAIT = s.trait;
  return d;
}

Fit fit(const Model& model, StudyData& study) {
  Window w;
  w.set_size(5);
  Fit f;
  f.ok = stan_single(f.est, f.se, study, 0, model, w);
  return f;
}

void expect_matches(const Fit& f, const std::vector<Reference>& ref) {
  ASSERT_EQ(f.ok, 1);
  ASSERT_EQ(f.est.size(), ref.size());
  ASSERT_EQ(f.se.size(), ref.size());
  for (std::size_t a = 0; a < ref.size(); a++) {
    EXPECT_NEAR(f.est[a], ref[a].est, kAgreement) << ref[a].term;
    EXPECT_NEAR(f.se[a], ref[a].se, kAgreement) << ref[a].term << " (standard error)";
  }
}

Builder with(int design, int mode) { return Builder(design, mode, {"X1", "C"}).categorical("C"); }

}  // namespace

TEST(CompleteData, SampleStudyIsTheOneTheReferencesWereMadeOn) {
  const sample::Study s = sample::study();
  int counts[10] = {};
  for (int g : s.geno) counts[g]++;
  EXPECT_EQ(counts[0], 91);
  EXPECT_EQ(counts[1], 79);
  EXPECT_EQ(counts[2], 15);
  EXPECT_EQ(counts[9], 15);
  EXPECT_EQ(std::accumulate(s.status.begin(), s.status.end(), 0), 106);
  EXPECT_EQ(std::accumulate(s.event.begin(), s.event.end(), 0), 140);
  EXPECT_EQ(std::accumulate(s.time.begin(), s.time.end(), 0.0), 2217.0);
  EXPECT_EQ(s.x1[1], 0.35);
  EXPECT_EQ(s.trait[0], -1.098);
}

// ---- Logistic regression (case-control) -------------------------------------

TEST(CompleteData, LogisticAdditiveWithCategoricalCovariateAndGeneticProduct) {
  StudyData d = sample_data();
  Model m = with(kCaseControl, kAdditive).term("X1").term("C").term("G").term("G", "X1").model();
  // glm(status ~ g + x1 + factor(c) + x1:g, family = binomial)
  expect_matches(fit(m, d), {{"G", 0.3851498902, 0.2906820957},
                             {"X1", 0.7725127579, 0.2315491238},
                             {"C(2)", 0.1983261407, 0.4022274116},
                             {"C(3)", -0.7084437163, 0.4279062364},
                             {"X1*G", 0.8516427336, 0.4162706543},
                             {"intercept", 0.0173465282, 0.3012450470}});
}

TEST(CompleteData, LogisticGenotypeAlone) {
  StudyData d = sample_data();
  Model m = with(kCaseControl, kAdditive).term("G").model();
  // glm(status ~ g, family = binomial)
  expect_matches(fit(m, d), {{"G", 0.3320227955, 0.2363109148}, {"intercept", -0.0308506548, 0.2010532005}});
}

TEST(CompleteData, LogisticRecessiveAndDominant) {
  StudyData d = sample_data();
  // glm(status ~ hom + x1, family = binomial)
  expect_matches(fit(with(kCaseControl, kRecessive).term("X1").term("G").model(), d),
                 {{"G", 0.7561881493, 0.6550587075},
                  {"X1", 1.0650061298, 0.1958497028},
                  {"intercept", 0.0304129815, 0.1718568542}});
  // glm(status ~ dom + x1, family = binomial)
  expect_matches(fit(with(kCaseControl, kDominant).term("X1").term("G").model(), d),
                 {{"G", 0.4324412382, 0.3341987764},
                  {"X1", 1.0985103457, 0.1986171780},
                  {"intercept", -0.1397911009, 0.2414775606}});
}

TEST(CompleteData, LogisticCodominantWithGeneticProduct) {
  StudyData d = sample_data();
  Model m = with(kCaseControl, kCodominant).term("X1").term("G").term("G", "X1").model();
  // glm(status ~ het + hom + x1 + x1:het + x1:hom, family = binomial)
  expect_matches(fit(m, d), {{"G(1)", 0.3408045525, 0.3560559069},
                             {"G(2)", 0.7558475904, 0.7639966262},
                             {"X1", 0.7365154702, 0.2278601357},
                             {"X1*G(1)", 0.9601651272, 0.4671241087},
                             {"X1*G(2)", 1.5183582268, 1.4464385584},
                             {"intercept", -0.0830801557, 0.2272581917}});
}

TEST(CompleteData, LogisticFailsCleanlyWhenTheGenotypeSeparatesCasesFromControls) {
  StudyData d = sample_data();
  for (int i = 0; i < d.n; i++) d.STATUS[static_cast<std::size_t>(i)] = d.geno[static_cast<std::size_t>(i)] >= 1 ? 1 : 0;
  Model m = with(kCaseControl, kDominant).term("G").model();
  EXPECT_EQ(fit(m, d).ok, 0);
}

// ---- Proportional hazards (cohort) ------------------------------------------

TEST(CompleteData, CoxAdditiveWithTiesCategoricalCovariateAndGeneticProduct) {
  StudyData d = sample_data();
  Model m = with(kCohort, kAdditive).term("X1").term("C").term("G").term("G", "X1").model();
  // coxph(Surv(time, event) ~ g + x1 + factor(c) + x1:g, ties = "breslow"); no intercept
  expect_matches(fit(m, d), {{"G", 0.7763174653, 0.1617759652},
                             {"X1", 0.5573860596, 0.1280121127},
                             {"C(2)", 0.3467630218, 0.2126887993},
                             {"C(3)", 0.1385737519, 0.2277559915},
                             {"X1*G", -0.2106206254, 0.1530572837}});
}

TEST(CompleteData, CoxCodominant) {
  StudyData d = sample_data();
  Model m = with(kCohort, kCodominant).term("X1").term("G").model();
  // coxph(Surv(time, event) ~ het + hom + x1, ties = "breslow")
  expect_matches(fit(m, d), {{"G(1)", 0.4946593046, 0.1917366140},
                             {"G(2)", 1.6382948981, 0.3101427040},
                             {"X1", 0.4353099573, 0.0964435699}});
}

TEST(CompleteData, CoxIgnoresSubjectsLeavingBeforeTheFirstFailure) {
  StudyData d = sample_data();
  Model m = with(kCohort, kCodominant).term("X1").term("G").model();
  const Fit before = fit(m, d);

  // Subjects censored before the earliest failure (time 1) are in no risk set.
  const sample::Study s = sample::study();
  std::vector<double> x1 = s.x1, c = s.c;
  std::vector<int> geno = s.geno;
  for (int extra = 0; extra < 5; extra++) {
    x1.push_back(2.0 - extra);
    c.push_back(1.0 + extra % 3);
    geno.push_back(extra % 3);
  }
  StudyData more = make_study({x1, c}, geno);
  more.TIME = s.time;
  more.EVENT = s.event;
  for (int extra = 0; extra < 5; extra++) {
    more.TIME.push_back(0.15 * (extra + 1));
    more.EVENT.push_back(0);
  }
  const Fit after = fit(m, more);
  ASSERT_EQ(after.ok, 1);
  for (std::size_t a = 0; a < before.est.size(); a++) {
    EXPECT_DOUBLE_EQ(after.est[a], before.est[a]);
    EXPECT_DOUBLE_EQ(after.se[a], before.se[a]);
  }
}

TEST(CompleteData, CoxWithoutFailuresFails) {
  StudyData d = sample_data();
  d.EVENT.assign(d.EVENT.size(), 0);
  EXPECT_EQ(fit(with(kCohort, kAdditive).term("G").model(), d).ok, 0);
}

// ---- Least squares (cross-sectional) ----------------------------------------

TEST(CompleteData, LeastSquaresAdditiveWithCovariateProducts) {
  StudyData d = sample_data();
  Model m = with(kCrossSectional, kAdditive).term("X1").term("C").term("G").term("X1", "C").model();
  // lm(trait ~ g + x1 + factor(c) + x1:factor(c))
  expect_matches(fit(m, d), {{"G", 0.4760485941, 0.0662942966},
                             {"X1", 0.9372403779, 0.0627691277},
                             {"X1*C(2)", -0.1561845032, 0.0937787442},
                             {"X1*C(3)", -0.0659503347, 0.1160134483},
                             {"C(2)", 0.4424019337, 0.0989568103},
                             {"C(3)", -0.1819465869, 0.1061203855},
                             {"intercept", 0.9556896980, 0.0760584806}});
  EXPECT_EQ(d.cs_bin, 0);
}

TEST(CompleteData, FirstSnpFitsTheRawTwoValuedTraitLaterOnesTheRecodedOne) {
  StudyData d = sample_data();
  for (double& y : d.TRAIT) y = y > 1.5 ? 2.0 : 0.0;
  Model m = with(kCrossSectional, kAdditive).term("X1").term("G").model();
  // lm(b ~ g + x1) with b = 2 * (trait > 1.5)
  const std::vector<Reference> raw = {
      {"G", 0.2841897395, 0.0864008574}, {"X1", 0.6435188552, 0.0547331041}, {"intercept", 0.7601158001, 0.0750918528}};
  expect_matches(fit(m, d), raw);
  EXPECT_EQ(d.cs_bin, 1);
  for (double y : d.TRAIT) EXPECT_TRUE(y == 0.0 || y == 1.0);

  // The next SNP sees 0/1: every estimate and standard error halves.
  const Fit second = fit(m, d);
  ASSERT_EQ(second.ok, 1);
  for (std::size_t a = 0; a < raw.size(); a++) {
    EXPECT_NEAR(second.est[a], raw[a].est / 2, kAgreement) << raw[a].term;
    EXPECT_NEAR(second.se[a], raw[a].se / 2, kAgreement) << raw[a].term;
  }
}

// ---- Coefficient counts, window size, SNPs typed in nobody -------------------

TEST(CompleteData, CoefficientCountsByDesignAndMode) {
  struct Case {
    int design, mode;
    bool product;
    std::size_t q;
  };
  const Case cases[] = {
      {kCaseControl, kAdditive, false, 3},     // G, X1, intercept
      {kCohort, kAdditive, false, 2},          // no intercept
      {kCrossSectional, kAdditive, false, 3},  //
      {kCaseControl, kCodominant, false, 4},   // two genetic coefficients
      {kCaseControl, kCodominant, true, 6},    // and two for X1*G
      {kCohort, kCodominant, true, 5},         //
      {kCrossSectional, kRecessive, true, 4},  //
  };
  for (const Case& c : cases) {
    StudyData d = sample_data();
    Builder b = with(c.design, c.mode).term("X1").term("G");
    if (c.product) b.term("G", "X1");
    const Fit f = fit(b.model(), d);
    EXPECT_EQ(f.ok, 1) << "design " << c.design << " mode " << c.mode;
    EXPECT_EQ(f.est.size(), c.q) << "design " << c.design << " mode " << c.mode << " product " << c.product;
    EXPECT_EQ(f.se.size(), c.q);
  }
}

TEST(CompleteData, WindowSizeIsRestoredAndTheDesignReleased) {
  StudyData d = sample_data();
  Window w;
  w.set_size(4);
  std::vector<double> est, se;
  ASSERT_EQ(stan_single(est, se, d, 0, with(kCohort, kAdditive).term("X1").term("C").term("G").model(), w), 1);
  EXPECT_EQ(w.M, 4);
  EXPECT_EQ(w.K, 16);
  EXPECT_EQ(w.pow2.back(), 16);
  EXPECT_TRUE(w.list.subjects.empty());
  EXPECT_EQ(w.X.rows(), 0);
  EXPECT_EQ(w.design_names, (std::vector<std::string>{"X1", "C(2)", "C(3)", "G"}));
}

TEST(CompleteData, SnpTypedInNobodyFailsCleanly) {
  for (int design : {kCaseControl, kCohort, kCrossSectional}) {
    StudyData d = sample_data();
    d.geno.assign(d.geno.size(), kMissingGenotype);
    Window w;
    w.set_size(5);
    std::vector<double> est, se;
    EXPECT_EQ(stan_single(est, se, d, 0, with(design, kAdditive).term("X1").term("C").term("G").model(), w), 0);
    EXPECT_EQ(w.M, 5);
  }
}
