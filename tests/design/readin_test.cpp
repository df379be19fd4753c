// The covariate design of a window: analysis class, distinct patterns and their
// tolerance, categorical levels and column names, interaction flags, outcome
// counts, and the binary-trait decision of the cross-sectional design.
#include <gtest/gtest.h>

#include "design/model_builder.h"
#include "design/readin.h"

namespace {

using testmodel::Builder;
using testmodel::make_study;
using Names = std::vector<std::string>;

// The design over a study list holding the given subjects, in that order.
Window design_of(const Model& model, const StudyData& study, const std::vector<int>& subjects) {
  Window w;
  w.set_size(1);
  for (int i : subjects) {
    SubjectNode s;
    s.idx = i;
    w.list.subjects.push_back(s);
  }
  readinXV(w, model, study, study.cov.data());
  return w;
}

std::vector<int> strata(const Window& w) {
  std::vector<int> out;
  for (const SubjectNode& s : w.list.subjects) out.push_back(s.stratum);
  return out;
}

}  // namespace

TEST(CovariateDesign, AnalysisClassComesFromTheModelCovariatesOnly) {
  StudyData study = make_study({{1, 2}, {3, 4}, {5, 6}}, {0, 1});
  const Builder abc = Builder(kCaseControl, kAdditive, {"A", "B", "C"}).dependent("B");
  // One DEPENDENT main effect among others: class 0, its column counted.
  Window dep = design_of(Builder(abc).effect("A B C G").model(), study, {0, 1});
  EXPECT_EQ(dep.anal, 0);
  EXPECT_EQ(dep.pD, 1);
  EXPECT_EQ(design_of(Builder(abc).effect("A C G").model(), study, {0, 1}).anal, 1);

  // B is DEPENDENT but not a main effect; A*C without main effects adds no covariate.
  Window w = design_of(Builder(abc).effect("A*C G").model(), study, {0, 1});
  EXPECT_EQ(w.anal, 2);
  EXPECT_EQ(w.pX, 0);
  EXPECT_EQ(w.J, 1);
  EXPECT_EQ(w.X.rows(), 1);
  EXPECT_EQ(w.X.cols(), 0);
  EXPECT_EQ(w.design_names, Names{"G"});
  EXPECT_EQ(strata(w), (std::vector<int>{0, 0}));

  // An empty list: no pattern, nobody counted.
  Window empty = design_of(Builder(abc).effect("A G").model(), study, {});
  EXPECT_EQ(empty.J, 0);
  EXPECT_EQ(empty.n_new, 0);
}

TEST(CovariateDesign, CategoricalLevelsAreSortedAndTheLowestIsTheReference) {
  StudyData study = make_study({{0.5, 1.5, 2.5, 3.5, 4.5}, {3, 1, 2, 1, 3}}, {0, 0, 0, 0, 0});
  Model model = Builder(kCaseControl, kAdditive, {"X", "C"}).categorical("C").effect("X C G").model();
  Window w = design_of(model, study, {0, 1, 2, 3, 4});
  EXPECT_EQ(w.pX, 3);
  EXPECT_EQ(w.design_names, (Names{"X", "C(2)", "C(3)", "G"}));
  ASSERT_EQ(w.J, 5);
  const double expected[5][3] = {{0.5, 0, 1}, {1.5, 0, 0}, {2.5, 1, 0}, {3.5, 0, 0}, {4.5, 0, 1}};
  for (int j = 0; j < 5; j++)
    for (int c = 0; c < 3; c++) EXPECT_EQ(w.X[j][c], expected[j][c]) << "pattern " << j << " column " << c;

  // Level names show the truncated level; a covariate seen at one level has no column.
  study = make_study({{3.9, 2.7, 3.9}, {-2.5, -1.5, -1.5}, {2, 2, 2}}, {0, 0, 0});
  model = Builder(kCohort, kAdditive, {"C", "D", "E"}).categorical("C").categorical("D").categorical("E")
              .effect("C D E G").model();
  w = design_of(model, study, {0, 1, 2});
  EXPECT_EQ(w.design_names, (Names{"C(3)", "D(-1)", "G"}));
  EXPECT_EQ(w.X[0][0], 1.0);  // 3.9 is the upper level
  EXPECT_EQ(w.X[1][0], 0.0);
}

TEST(CovariateDesign, PatternsMergeOnlyStrictlyWithinTolerance) {
  // 0 and 9.9e-7 are one value; 0 and 1e-6 are two.
  StudyData study = make_study({{0.0, 9.9e-7, 1e-6, 0.0}, {1, 1, 1, 2}}, {0, 0, 0, 0});
  Model model = Builder(kCaseControl, kAdditive, {"X", "Y"}).effect("X Y G").model();
  Window w = design_of(model, study, {0, 1, 2, 3});
  EXPECT_EQ(w.J, 3);
  EXPECT_EQ(strata(w), (std::vector<int>{0, 0, 1, 2}));
  EXPECT_EQ(w.X[0][0], 0.0);  // a pattern keeps the values of the subject that opened it
  // Patterns open in list order: now 1e-6 opens one, 9.9e-7 joins it, and 0
  // (exactly 1e-6 away) needs its own.
  Window rev = design_of(model, study, {3, 2, 1, 0});
  EXPECT_EQ(strata(rev), (std::vector<int>{0, 1, 1, 2}));
  EXPECT_EQ(rev.X[1][0], 1e-6);
  EXPECT_EQ(rev.X[2][0], 0.0);
}

TEST(CovariateDesign, InteractionFlagsFollowTheDesignColumns) {
  // A continuous, C categorical (3 levels), B not in the model.
  StudyData study = make_study({{0.1, 0.2, 0.3}, {1, 2, 3}, {7, 8, 9}}, {0, 1, 2});
  Model model = Builder(kCaseControl, kCodominant, {"A", "C", "B"})
                    .categorical("C").effect("A C G A*C C*G A*B").output("C G A*C").model();
  Window w = design_of(model, study, {0, 1, 2});
  ASSERT_EQ(w.pX, 3);  // A, C(2), C(3)
  // A*C for each column of C, never between columns of one categorical
  // covariate; the upper triangle only.
  const int xx[3][3] = {{1, 2, 2}, {0, 2, 0}, {0, 0, 2}};
  for (int i = 0; i < 3; i++)
    for (int j = 0; j < 3; j++) EXPECT_EQ(w.X_X[i][j], xx[i][j]) << i << "," << j;
  EXPECT_EQ(w.X_H[0][0], 0);
  EXPECT_EQ(w.X_H[1][0], 1);
  EXPECT_EQ(w.X_H[2][0], 1);
  EXPECT_EQ(w.H_H[0][0], 2);
  EXPECT_EQ(w.pD, 0);
}

TEST(CovariateDesign, OutcomeCountsCoverTheListedSubjects) {
  StudyData study = make_study({{1, 1, 1, 1, 1}}, {0, 0, 0, 0, 0});
  study.STATUS = {1, 0, 1, 1, 0};
  study.EVENT = {1, 0, 0, 1, 1};
  Window w = design_of(Builder(kCaseControl, kAdditive, {"X"}).effect("X G").model(), study, {4, 0, 2});
  EXPECT_EQ(w.n1, 2);
  EXPECT_EQ(w.n0, 1);
  EXPECT_EQ(w.n_new, 3);
  EXPECT_EQ(design_of(Builder(kCohort, kAdditive, {"X"}).effect("X G").model(), study, {1, 2, 3, 4}).n_new, 4);
}

TEST(CovariateDesign, OnlyATwoValuedCrossSectionalTraitIsRecodedLargerToOne) {
  // The scan runs over every study subject; a 0/1 trait stays binary when
  // classified again.
  const struct {
    int design;
    std::vector<double> trait;
    int binary;
    std::vector<double> after;
  } cases[] = {
      {kCrossSectional, {2.0, 0.0, 2.0, 2.0000005}, 1, {1.0, 0.0, 1.0, 1.0}},
      {kCrossSectional, {1.0, 0.0, 1.0, 1.0}, 1, {1.0, 0.0, 1.0, 1.0}},
      {kCrossSectional, {4.0, 4.0, 4.0, 4.0}, 0, {4.0, 4.0, 4.0, 4.0}},
      {kCrossSectional, {0.0, 2.0, 5.0, 0.0}, 0, {0.0, 2.0, 5.0, 0.0}},
      {kCaseControl, {0.0, 2.0, 0.0, 2.0}, 0, {0.0, 2.0, 0.0, 2.0}},
  };
  for (const auto& c : cases) {
    StudyData study = make_study({{1, 1, 1, 1}}, {0, 1, 2, 1});
    study.TRAIT = c.trait;
    if (c.design == kCrossSectional) classify_trait(study);
    EXPECT_EQ(study.cs_bin, c.binary) << c.trait[2];
    EXPECT_EQ(study.TRAIT, c.after) << c.trait[2];
    EXPECT_EQ(study.TRAIT_raw.empty() ? study.TRAIT : study.TRAIT_raw, c.trait);
    // Classified once more, the recoded trait stays binary and unchanged.
    if (c.design == kCrossSectional) classify_trait(study);
    EXPECT_EQ(study.TRAIT, c.after) << c.trait[2];
  }
}
