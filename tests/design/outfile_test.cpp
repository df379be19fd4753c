// Result file names and coefficient indexes for the terms under OUTPUT, the row
// names of a haplotype analysis's parameters, and haplotype codes as allele strings.
#include <gtest/gtest.h>

#include "design/model_builder.h"
#include "design/outfile.h"

namespace {

using testmodel::Builder;
using Names = std::vector<std::string>;
using Indexes = std::vector<int>;

// Covariates A, B (continuous) and C (categorical 1, 2, 3) over four subjects.
const std::vector<double> kCov = {0.5, 1.0, 1, 0.7, 2.0, 2, 0.9, 3.0, 3, 0.5, 1.0, 1};

Builder abc(int mode) { return Builder(kCaseControl, mode, {"A", "B", "C"}).categorical("C"); }

}  // namespace

TEST(ResultFiles, NothingUnderOutputGivesNoFile) {
  Model m = abc(kAdditive).term("A").term("C").term("G").term("C", "G").term("A", "B").model();
  const OutputFiles out = get_outfile("results", m, kCov.data(), 4);
  EXPECT_TRUE(out.names.empty());
  EXPECT_TRUE(out.index.empty());
  EXPECT_EQ(out.design_names, (Names{"A", "C(2)", "C(3)", "G"}));
}

TEST(ResultFiles, CodominantGeneticTermGivesTwoFilesWithConsecutiveIndexes) {
  Model m = abc(kCodominant).term("A", 2).term("G", 2).model();
  const OutputFiles out = get_outfile("run7", m, kCov.data(), 4);
  EXPECT_EQ(out.names, (Names{"run7_G(1).out", "run7_G(2).out", "run7_A.out"}));
  EXPECT_EQ(out.index, (Indexes{0, 1, 2}));
}

TEST(ResultFiles, CovariateProductsJoinNamesAndDoNotAdvanceTheIndex) {
  // Coefficients: G 0, A 1, A*B 2, B 3, C(2) 4, C(3) 5, C(2)*G 6, C(3)*G 7. The
  // recorded indexes after the A*B product stand one place lower; this is kept.
  Model m = abc(kAdditive)
                .term("G")
                .term("A")
                .term("B", 2)
                .term("C")
                .term("A", "B", 2)
                .term("C", "G", 2)
                .model();
  const OutputFiles out = get_outfile("res", m, kCov.data(), 4);
  EXPECT_EQ(out.names, (Names{"res_A$B.out", "res_B.out", "res_C(2)$G.out", "res_C(3)$G.out"}));
  EXPECT_EQ(out.index, (Indexes{2, 2, 5, 6}));
  EXPECT_EQ(out.pX, 4);
}

TEST(ResultFiles, CodominantGeneticProductsAreSplit) {
  Model m = abc(kCodominant).term("G", 2).term("A").term("G", "A", 2).model();
  const OutputFiles out = get_outfile("res", m, kCov.data(), 4);
  EXPECT_EQ(out.names, (Names{"res_G(1).out", "res_G(2).out", "res_A$G(1).out", "res_A$G(2).out"}));
  EXPECT_EQ(out.index, (Indexes{0, 1, 3, 4}));
}

TEST(ResultFiles, GeneticTermOnlyInAProductTakesNoCoefficient) {
  Model m = abc(kAdditive).term("A", 2).term("G", "A", 2).model();
  const OutputFiles out = get_outfile("res", m, kCov.data(), 4);
  EXPECT_EQ(out.names, (Names{"res_A.out", "res_A$G.out"}));
  EXPECT_EQ(out.index, (Indexes{0, 1}));
}

TEST(ResultFiles, PatternsOverAllSubjectsUseTheFinerTolerance) {
  const std::vector<double> x = {1.0, 1.0 + 5e-11, 1.0 + 1e-9, 1.0};
  Model m = Builder(kCohort, kAdditive, {"X"}).term("X", 2).model();
  const OutputFiles out = get_outfile("res", m, x.data(), 4);
  EXPECT_EQ(out.J, 2);
  EXPECT_EQ(out.names, (Names{"res_X.out"}));
}

TEST(RowNames, DeciBinAppendsTheAllelesMostSignificantFirst) {
  std::string s = "h";
  deci_bin(s, 5, 5);
  EXPECT_EQ(s, "h00101");
  std::string t;
  deci_bin(t, 22, 5);
  EXPECT_EQ(t, "10110");
}

TEST(RowNames, HaplotypeAnalysisParameters) {
  Window w;
  w.set_size(3);
  w.design = kCrossSectional;
  w.mode = kCodominant;
  w.hap = 1;
  w.hap0 = {5};
  w.pH = 1;
  w.pX = 2;
  w.design_names = {"X", "Y", "G"};
  w.H_H = imatrix(0, 0, 0, 0);
  w.H_H[0][0] = 1;
  w.X_X = imatrix(0, 1, 0, 1);
  w.X_X[0][0] = 1;
  w.X_X[0][1] = 1;
  w.X_H = imatrix(0, 1, 0, 0);
  w.X_H[1][0] = 1;
  w.KK = 2;
  w.hap_freq = {5, 2};
  w.pD = 1;
  w.qq = 2;
  w.hap_GOR = {2, 6};
  EXPECT_EQ(get_rowname(w, 0), (Names{"101(1)", "101(2)", "X", "X * Y", "Y * 101(1)", "Y * 101(2)", "Intercept",
                                      "Error variance", "101", "010", "X * 010", "X * 110"}));
  EXPECT_EQ(get_rowname(w, 1)[7], "101");  // a binary trait has no error variance

  // A single-SNP analysis names its genetic terms; case-control has no intercept row.
  w.hap = 0;
  w.mode = kAdditive;
  w.design = kCaseControl;
  w.pD = 0;
  EXPECT_EQ(get_rowname(w, 0), (Names{"G", "X", "X * Y", "Y * G", "101", "010"}));
}
