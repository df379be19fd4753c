// The covariate design of a window: analysis class, distinct patterns and their
// tolerance, categorical levels and column names, interaction flags, outcome
// counts, and the binary-trait decision of the cross-sectional design.
#include <gtest/gtest.h>

#include "design/model_builder.h"
#include "design/readin.h"

namespace {

using testmodel::Builder;
using testmodel::make_study;

// A window whose study list holds the given subjects, in that order.
Window window_over(const std::vector<int>& subjects) {
  Window w;
  w.set_size(1);
  for (int i : subjects) {
    SubjectNode s;
    s.idx = i;
    w.list.subjects.push_back(s);
  }
  return w;
}

Window design_of(const Model& model, StudyData& study, const std::vector<int>& subjects) {
  Window w = window_over(subjects);
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
  Model dep = Builder(kCaseControl, kAdditive, {"A", "B", "C"}).dependent("B").term("A").term("B").term("G").model();
  EXPECT_EQ(design_of(dep, study, {0, 1}).anal, 0);

  Model ind = Builder(kCaseControl, kAdditive, {"A", "B", "C"}).dependent("B").term("A").term("C").term("G").model();
  EXPECT_EQ(design_of(ind, study, {0, 1}).anal, 1);

  // B is DEPENDENT but not a main effect; A*C without main effects adds no covariate.
  Model none =
      Builder(kCaseControl, kAdditive, {"A", "B", "C"}).dependent("B").term("A", "C").term("G").model();
  Window w = design_of(none, study, {0, 1});
  EXPECT_EQ(w.anal, 2);
  EXPECT_EQ(w.pX, 0);
  EXPECT_EQ(w.J, 1);
  EXPECT_EQ(w.X.rows(), 1);
  EXPECT_EQ(w.X.cols(), 0);
  EXPECT_EQ(w.design_names, (std::vector<std::string>{"G"}));
  EXPECT_EQ(strata(w), (std::vector<int>{0, 0}));
}

TEST(CovariateDesign, CategoricalLevelsAreSortedAndTheLowestIsTheReference) {
  StudyData study = make_study({{0.5, 1.5, 2.5, 3.5, 4.5}, {3, 1, 2, 1, 3}}, {0, 0, 0, 0, 0});
  Model model = Builder(kCaseControl, kAdditive, {"X", "C"}).categorical("C").term("X").term("C").term("G").model();
  Window w = design_of(model, study, {0, 1, 2, 3, 4});
  EXPECT_EQ(w.pX, 3);
  EXPECT_EQ(w.design_names, (std::vector<std::string>{"X", "C(2)", "C(3)", "G"}));
  ASSERT_EQ(w.J, 5);
  const double expected[5][3] = {{0.5, 0, 1}, {1.5, 0, 0}, {2.5, 1, 0}, {3.5, 0, 0}, {4.5, 0, 1}};
  for (int j = 0; j < 5; j++)
    for (int c = 0; c < 3; c++) EXPECT_EQ(w.X[j][c], expected[j][c]) << "pattern " << j << " column " << c;
}

TEST(CovariateDesign, LevelNamesShowTheTruncatedLevel) {
  StudyData study = make_study({{3.9, 2.7, 3.9}, {-2.5, -1.5, -1.5}}, {0, 0, 0});
  Model model = Builder(kCohort, kAdditive, {"C", "D"}).categorical("C").categorical("D").term("C").term("D").model();
  Window w = design_of(model, study, {0, 1, 2});
  EXPECT_EQ(w.design_names, (std::vector<std::string>{"C(3)", "D(-1)", "G"}));
  EXPECT_EQ(w.X[0][0], 1.0);  // 3.9 is the upper level
  EXPECT_EQ(w.X[1][0], 0.0);
}

TEST(CovariateDesign, CategoricalCovariateSeenAtOneLevelHasNoColumn) {
  StudyData study = make_study({{2, 2, 2}, {0.1, 0.2, 0.3}}, {0, 1, 2});
  Model model = Builder(kCaseControl, kAdditive, {"C", "X"}).categorical("C").term("C").term("X").term("G").model();
  Window w = design_of(model, study, {0, 1, 2});
  EXPECT_EQ(w.pX, 1);
  EXPECT_EQ(w.design_names, (std::vector<std::string>{"X", "G"}));
  EXPECT_EQ(w.anal, 1);
}

TEST(CovariateDesign, PatternsMergeOnlyStrictlyWithinTolerance) {
  // 0 and 9.9e-7 are one value; 0 and 1e-6 are two.
  StudyData study = make_study({{0.0, 9.9e-7, 1e-6, 0.0}, {1, 1, 1, 2}}, {0, 0, 0, 0});
  Model model = Builder(kCaseControl, kAdditive, {"X", "Y"}).term("X").term("Y").term("G").model();
  Window w = design_of(model, study, {0, 1, 2, 3});
  EXPECT_EQ(w.J, 3);
  EXPECT_EQ(strata(w), (std::vector<int>{0, 0, 1, 2}));
  EXPECT_EQ(w.X[0][0], 0.0);  // a pattern keeps the values of the subject that opened it

  // Patterns are opened in list order: now 1e-6 opens a pattern first, 9.9e-7
  // joins it, and 0 (exactly 1e-6 away) needs a pattern of its own.
  Window rev = design_of(model, study, {3, 2, 1, 0});
  EXPECT_EQ(strata(rev), (std::vector<int>{0, 1, 1, 2}));
  EXPECT_EQ(rev.X[1][0], 1e-6);
  EXPECT_EQ(rev.X[2][0], 0.0);
}

TEST(CovariateDesign, InteractionFlagsFollowTheDesignColumns) {
  // A continuous, C categorical (3 levels), B not in the model.
  StudyData study = make_study({{0.1, 0.2, 0.3}, {1, 2, 3}, {7, 8, 9}}, {0, 1, 2});
  Model model = Builder(kCaseControl, kCodominant, {"A", "C", "B"})
                    .categorical("C")
                    .term("A")
                    .term("C", 2)
                    .term("G", 2)
                    .term("A", "C", 2)
                    .term("C", "G")
                    .term("A", "B")
                    .model();
  Window w = design_of(model, study, {0, 1, 2});
  ASSERT_EQ(w.pX, 3);  // A, C(2), C(3)
  EXPECT_EQ(w.X_X[0][0], 1);
  EXPECT_EQ(w.X_X[1][1], 2);
  EXPECT_EQ(w.X_X[2][2], 2);
  EXPECT_EQ(w.X_X[0][1], 2);  // A*C for each column of C
  EXPECT_EQ(w.X_X[0][2], 2);
  EXPECT_EQ(w.X_X[1][2], 0);  // never between columns of one categorical covariate
  EXPECT_EQ(w.X_X[1][0], 0);  // upper triangle only
  EXPECT_EQ(w.X_H[0][0], 0);
  EXPECT_EQ(w.X_H[1][0], 1);
  EXPECT_EQ(w.X_H[2][0], 1);
  EXPECT_EQ(w.H_H[0][0], 2);
  EXPECT_EQ(w.pD, 0);
}

TEST(CovariateDesign, DependentColumnsAreCounted) {
  StudyData study = make_study({{1, 2, 3}, {0.5, 0.25, 0.125}}, {0, 1, 2});
  Model model = Builder(kCaseControl, kAdditive, {"C", "X"})
                    .categorical("C")
                    .dependent("C")
                    .term("C")
                    .term("X")
                    .term("G")
                    .model();
  Window w = design_of(model, study, {0, 1, 2});
  EXPECT_EQ(w.anal, 0);
  EXPECT_EQ(w.pX, 3);
  EXPECT_EQ(w.pD, 2);
}

TEST(CovariateDesign, OutcomeCountsCoverTheListedSubjects) {
  StudyData study = make_study({{1, 1, 1, 1, 1}}, {0, 0, 0, 0, 0});
  study.STATUS = {1, 0, 1, 1, 0};
  Model cc = Builder(kCaseControl, kAdditive, {"X"}).term("X").term("G").model();
  Window w = design_of(cc, study, {4, 0, 2});
  EXPECT_EQ(w.n1, 2);
  EXPECT_EQ(w.n0, 1);
  EXPECT_EQ(w.n_new, 3);

  study.EVENT = {1, 0, 0, 1, 1};
  Model co = Builder(kCohort, kAdditive, {"X"}).term("X").term("G").model();
  Window v = design_of(co, study, {1, 2, 3, 4});
  EXPECT_EQ(v.events, 2);
  EXPECT_EQ(v.n_new, 4);
}

TEST(CovariateDesign, EmptyListGivesAnEmptyDesign) {
  StudyData study = make_study({{1, 2}}, {0, 0});
  Model model = Builder(kCaseControl, kAdditive, {"C"}).categorical("C").term("C").term("G").model();
  Window w = design_of(model, study, {});
  EXPECT_EQ(w.J, 0);
  EXPECT_EQ(w.n_new, 0);
  EXPECT_EQ(w.pX, 0);
}

TEST(CovariateDesign, TwoValuedTraitIsRecodedLargerToOne) {
  StudyData study = make_study({{1, 1, 1, 1}}, {0, 1, 2, 1});
  study.TRAIT = {2.0, 0.0, 2.0, 2.0000005};
  Model model = Builder(kCrossSectional, kAdditive, {"X"}).term("X").term("G").model();
  design_of(model, study, {0, 1});
  EXPECT_EQ(study.cs_bin, 1);
  EXPECT_EQ(study.TRAIT, (std::vector<double>{1.0, 0.0, 1.0, 1.0}));
  // A second window finds a 0/1 trait and keeps it binary.
  design_of(model, study, {2, 3});
  EXPECT_EQ(study.cs_bin, 1);
  EXPECT_EQ(study.TRAIT, (std::vector<double>{1.0, 0.0, 1.0, 1.0}));
}

TEST(CovariateDesign, OneOrThreeTraitValuesStayContinuous) {
  Model model = Builder(kCrossSectional, kAdditive, {"X"}).term("X").term("G").model();
  StudyData one = make_study({{1, 1, 1}}, {0, 1, 2});
  one.TRAIT = {4.0, 4.0, 4.0};
  one.cs_bin = 1;
  design_of(model, one, {0, 1, 2});
  EXPECT_EQ(one.cs_bin, 0);
  EXPECT_EQ(one.TRAIT, (std::vector<double>{4.0, 4.0, 4.0}));

  // The scan runs over every study subject, listed or not.
  StudyData three = make_study({{1, 1, 1}}, {0, 1, 2});
  three.TRAIT = {0.0, 2.0, 5.0};
  design_of(model, three, {0, 1});
  EXPECT_EQ(three.cs_bin, 0);
  EXPECT_EQ(three.TRAIT, (std::vector<double>{0.0, 2.0, 5.0}));
}

TEST(CovariateDesign, OtherDesignsLeaveTheTraitAlone) {
  Model model = Builder(kCaseControl, kAdditive, {"X"}).term("X").term("G").model();
  StudyData study = make_study({{1, 1}}, {0, 1});
  study.TRAIT = {0.0, 2.0};
  design_of(model, study, {0, 1});
  EXPECT_EQ(study.cs_bin, 0);
  EXPECT_EQ(study.TRAIT, (std::vector<double>{0.0, 2.0}));
}
