// The run's warnings about result-file rules kept on purpose: an OUTPUT term after
// a covariate product term reports another coefficient, and a two-valued
// cross-sectional trait gives least-squares lines beside log odds ratio lines.
//
// The data of the program runs come from
//   kestrova-sim --seed 71 --design cross-sectional --subjects 300 --snps 16 --covariates 3
//                --model "G X1 X2 X1*X2 X3" --output "G X1*X2 X2 X3"
// For its first fully typed SNP, rs70552, R's lm(TRAIT ~ G + X1 + X2 + X1:X2 + X3)
// gives X2 0.3056814 (0.0542301) and X1:X2 -0.0482069 (0.0604028): the file of X3
// holds the coefficient of X2, and the file of X2 that of X1*X2, as the warnings say.
#include <gtest/gtest.h>

#include "design/model_builder.h"
#include "driver/warnings.h"
#include "support/process.h"

namespace {


std::vector<std::string> warning_lines(const std::string& log) {
  std::vector<std::string> out;
  std::size_t at = 0;
  while ((at = log.find("Warning: ", at)) != std::string::npos) {
    const std::size_t end = log.find('\n', at);
    out.push_back(log.substr(at, end - at));
    at = end;
  }
  return out;
}

std::string line_of(const std::string& file_text, const std::string& id) {
  const std::size_t at = file_text.find(" " + id + " ");
  const std::size_t start = file_text.rfind('\n', at) + 1;
  return file_text.substr(start, file_text.find('\n', at) - start);
}

}  // namespace

TEST(Warnings, OutputTermAfterCovariateProductNamesTheCoefficientItHolds) {
  const std::vector<double> cov = {0.5, 1.0, 1, 0.7, 2.0, 2, 0.9, 3.0, 3, 0.5, 1.0, 1};
  // Coefficients G 0, A 1, A*B 2, B 3, C(2) 4, C(3) 5, C(2)*G 6, C(3)*G 7.
  const Model m = testmodel::Builder(kCaseControl, kAdditive, {"A", "B", "C"})
                      .categorical("C").effect("G A B C A*B C*G").output("G A A*B B C*G").model();
  const std::vector<std::string> lines = output_index_warnings(get_outfile("res", m, cov.data(), 4));
  const std::string why =
      ": covariate-by-covariate product terms earlier in the model do not count in the place of a result file's "
      "coefficient.\n";
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "Warning: 'res_B.out' reports the coefficient of A*B, not that of B" + why,
                       "Warning: 'res_C(2)$G.out' reports the coefficient of C(3), not that of C(2)*G" + why,
                       "Warning: 'res_C(3)$G.out' reports the coefficient of C(2)*G, not that of C(3)*G" + why}));

  // Under the codominant mode the names carry the coefficient's half.
  const Model cod = testmodel::Builder(kCaseControl, kCodominant, {"A", "B", "C"})
                        .effect("G A B A*B B*G").output("G B*G").model();
  EXPECT_EQ(output_index_warnings(get_outfile("res", cod, cov.data(), 4)),
            (std::vector<std::string>{
                "Warning: 'res_B$G(1).out' reports the coefficient of B, not that of B*G(1)" + why,
                "Warning: 'res_B$G(2).out' reports the coefficient of B*G(1), not that of B*G(2)" + why}));

  // Terms before the product, and the first product itself, are where they are recorded.
  const Model fine = testmodel::Builder(kCaseControl, kAdditive, {"A", "B", "C"})
                         .effect("G A B A*B").output("G A A*B").model();
  EXPECT_TRUE(output_index_warnings(get_outfile("res", fine, cov.data(), 4)).empty());
}

TEST(Warnings, TwoValuedTraitOnlyInTheCrossSectionalDesign) {
  testmodel::Builder b(kCrossSectional, kAdditive, {"A"});
  const Model m = b.effect("G").output("G").model();
  StudyData s = testmodel::make_study({{1, 2, 3, 4}}, {0, 1, 2, 1});
  s.TRAIT = {2, 0, 2, 0};
  const std::vector<std::string> two = binary_trait_warnings(m, s);
  ASSERT_EQ(two.size(), 1u);
  EXPECT_NE(two[0].find("(0 and 2)"), std::string::npos);
  EXPECT_NE(two[0].find("log odds ratios"), std::string::npos);
  // 0 and 2 differ by more than one: the first SNP's least-squares line is on the values as read.
  EXPECT_NE(two[0].find("on the scale of 0 and 2"), std::string::npos);
  s.TRAIT = {1, 0, 1, 0};
  EXPECT_EQ(binary_trait_warnings(m, s)[0].find("on the scale of"), std::string::npos);
  s.TRAIT = {1, 0, 1, 0.5};
  EXPECT_TRUE(binary_trait_warnings(m, s).empty());
  s.TRAIT = {1, 1, 1, 1};
  EXPECT_TRUE(binary_trait_warnings(m, s).empty());
  s.TRAIT = {1, 0, 1, 0};
  const Model cc = testmodel::Builder(kCaseControl, kAdditive, {"A"}).effect("G").output("G").model();
  EXPECT_TRUE(binary_trait_warnings(cc, s).empty());
}

// Through the program each warning comes once per run, not per SNP. (Runs that
// meet neither rule have none: the exact logs of the input tests and the
// threads tests' studies of every design.)
TEST(Warnings, ThroughTheProgram) {
  {
    ScratchDir dir;
    simulate(dir, {"--seed", "71", "--design", "cross-sectional", "--subjects", "300", "--snps", "16", "--covariates",
                   "3", "--model", "G X1 X2 X1*X2 X3", "--output", "G X1*X2 X2 X3"});
    const RunResult r = run_kestrova(dir, {"-ofile", "r"});
    ASSERT_EQ(r.status, 0) << r.out;
    const std::vector<std::string> w = warning_lines(r.out);
    ASSERT_EQ(w.size(), 2u) << r.out;
    EXPECT_EQ(w[0].substr(0, 66), "Warning: 'r_X2.out' reports the coefficient of X1*X2, not that of ");
    EXPECT_EQ(w[1].substr(0, 63), "Warning: 'r_X3.out' reports the coefficient of X2, not that of ");
    // After the count lines, before the completion line.
    EXPECT_LT(r.out.find("read from 'haplotype.dat'"), r.out.find("Warning: "));
    EXPECT_LT(r.out.find("Warning: "), r.out.find("Kestrova complete"));
    // What the warnings say, against lm (see the top of this file).
    EXPECT_NE(line_of(dir.read("r_X3.out"), "rs70552").find("  0.3057   0.0542  "), std::string::npos);
    EXPECT_NE(line_of(dir.read("r_X2.out"), "rs70552").find("  -0.0482   0.0604  "), std::string::npos);
    EXPECT_EQ(line_of(dir.read("r_X2.out"), "rs70552"), line_of(dir.read("r_X1$X2.out"), "rs70552"));
  }
  ScratchDir dir;
  simulate(dir, {"--seed", "72", "--design", "cross-sectional", "--trait", "binary", "--subjects", "300", "--snps", "16"});
  const RunResult r = run_kestrova(dir, {"-ofile", "r"});
  ASSERT_EQ(r.status, 0) << r.out;
  const std::vector<std::string> w = warning_lines(r.out);
  ASSERT_EQ(w.size(), 1u) << r.out;
  EXPECT_NE(w[0].find("least-squares"), std::string::npos);
}
