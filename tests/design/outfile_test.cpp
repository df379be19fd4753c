// Result file names and coefficient indexes for the terms under OUTPUT, the row
// names of a haplotype analysis's parameters, and haplotype codes as allele strings.
#include <gtest/gtest.h>

#include "design/model_builder.h"
#include "design/outfile.h"

namespace {

using Names = std::vector<std::string>;

}  // namespace

TEST(ResultFiles, NamesAndCoefficientIndexesOfTheTermsUnderOutput) {
  // Covariates A, B (continuous) and C (categorical 1, 2, 3) over four subjects.
  const std::vector<double> cov = {0.5, 1.0, 1, 0.7, 2.0, 2, 0.9, 3.0, 3, 0.5, 1.0, 1};
  const struct {
    int mode;
    const char *effect, *output;
    Names names;
    std::vector<int> index;
  } cases[] = {
      {kAdditive, "A C G C*G A*B", "", {}, {}},  // nothing under OUTPUT: no file
      {kCodominant, "A G", "A G", {"res_G(1).out", "res_G(2).out", "res_A.out"}, {0, 1, 2}},
      // Coefficients G 0, A 1, A*B 2, B 3, C(2) 4, C(3) 5, C(2)*G 6, C(3)*G 7: the
      // recorded indexes after the A*B product stand one place lower; this is kept.
      {kAdditive, "G A B C A*B C*G", "B A*B C*G", {"res_A$B.out", "res_B.out", "res_C(2)$G.out", "res_C(3)$G.out"},
       {2, 2, 5, 6}},
      {kCodominant, "G A G*A", "G G*A", {"res_G(1).out", "res_G(2).out", "res_A$G(1).out", "res_A$G(2).out"},
       {0, 1, 3, 4}},
      {kAdditive, "A G*A", "A G*A", {"res_A.out", "res_A$G.out"}, {0, 1}},  // G only in a product: no coefficient
  };
  for (const auto& c : cases) {
    const Model m = testmodel::Builder(kCaseControl, c.mode, {"A", "B", "C"})
                        .categorical("C").effect(c.effect).output(c.output).model();
    const OutputFiles out = get_outfile("res", m, cov.data(), 4);
    EXPECT_EQ(out.names, c.names) << c.effect;
    EXPECT_EQ(out.index, c.index) << c.effect;
  }
  const Model m = testmodel::Builder(kCaseControl, kAdditive, {"A", "B", "C"}).categorical("C").effect("A C G").model();
  EXPECT_EQ(get_outfile("res", m, cov.data(), 4).design_names, (Names{"A", "C(2)", "C(3)", "G"}));

  // Patterns over all subjects use the finer tolerance.
  const std::vector<double> x = {1.0, 1.0 + 5e-11, 1.0 + 1e-9, 1.0};
  const Model mx = testmodel::Builder(kCohort, kAdditive, {"X"}).output("X").model();
  const OutputFiles out = get_outfile("run7", mx, x.data(), 4);
  EXPECT_EQ(out.J, 2);
  EXPECT_EQ(out.names, Names{"run7_X.out"});
}

