// The warning a dependence model gives before the first SNP: present when a
// continuous covariate makes (nearly) every subject a covariate pattern, absent
// when the patterns are few or no covariate is DEPENDENT.
#include <gtest/gtest.h>

#include "driver/cost_warning.h"

namespace {

// Covariates age (continuous, `ages` distinct values) and smoke (categorical, 3
// levels), both in EFFECT with G; smoke DEPENDENT when asked.
struct Study {
  Model model;
  StudyData study;
  Study(int n, int ages, bool smoke_dependent, bool age_in_model = true) {
    model.p = 2;
    model.pH = 1;
    model.names = {"age", "smoke", "G"};
    model.dep = {'I', smoke_dependent ? 'D' : 'I'};
    model.categorical = {0, 1};
    model.effect[0][0] = age_in_model ? 1 : 0;
    model.effect[1][1] = 1;
    model.effect[2][2] = 2;
    study.n = n;
    study.p = 2;
    for (int i = 0; i < n; i++) {
      study.cov.push_back(40.0 + 0.5 * (i % ages) + (i % 2 ? 1e-7 : 0.0));  // 1e-7 apart is one value
      study.cov.push_back(1.0 + i % 3);
    }
  }
};

}  // namespace

TEST(CostWarning, NamesPatternsCauseParametersAndRemedy) {
  Study s(1000, 100, true);
  const DependenceCost cost = dependence_cost(s.model, s.study);
  EXPECT_EQ(cost.J, 300);  // subject i has age i % 100 and smoke i % 3
  const std::string line = dependence_cost_warning(s.model, s.study);
  ASSERT_FALSE(line.empty());
  EXPECT_EQ(line.rfind("Warning: ", 0), 0u);
  EXPECT_EQ(line.find('\n'), line.size() - 1);  // one line
  EXPECT_NE(line.find("J = 300 covariate patterns"), std::string::npos) << line;
  EXPECT_NE(line.find("age with 100 distinct values"), std::string::npos) << line;
  EXPECT_NE(line.find("about " + std::to_string(cost.P) + " parameters"), std::string::npos) << line;
  EXPECT_NE(line.find("group age into a few levels"), std::string::npos) << line;
  EXPECT_NE(line.find("drop smoke from DEPENDENT"), std::string::npos) << line;
  EXPECT_GT(cost.P, cost.J);
}

TEST(CostWarning, AbsentForFewPatternsOrWithoutDependence) {
  // Categorical covariates only in the model: 3 patterns.
  const Study categorical(1000, 400, true, false);
  EXPECT_EQ(dependence_cost_warning(categorical.model, categorical.study), "");
  // Just under the threshold of patterns.
  Study few(1000, 33, true);  // 33 patterns
  EXPECT_LT(dependence_cost(few.model, few.study).J, kCostWarningPatterns);
  EXPECT_EQ(dependence_cost_warning(few.model, few.study), "");
  // Nothing DEPENDENT: no warning, whatever J.
  Study independent(1000, 400, false);
  EXPECT_EQ(dependence_cost_warning(independent.model, independent.study), "");
  EXPECT_EQ(dependence_cost(independent.model, independent.study).P, 0);
}
