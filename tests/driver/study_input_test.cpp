// The study files: who is used, what is kept per individual, the DEPENDENT-first
// order of the covariates, and per SNP the kept codes and frequencies.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/specfile.h"
#include "driver/study_input.h"
#include "support/process.h"

namespace {

struct Study {
  Model model;
  StudyData study;
};

// Reads the model from the model file text, the phenotypes and, if given, the genotypes.
Study read_study(const std::string& phenotypes, const std::string& model_file, const std::string& genotypes = "") {
  ScratchDir dir;
  dir.write("phenotype.dat", phenotypes);
  dir.write("specification.txt", model_file);
  dir.write("genotype.dat", genotypes);
  Study s;
  std::vector<std::string> warnings;
  const std::string pfile = (dir.path() / "phenotype.dat").string();
  EXPECT_EQ(read_header(s.model, pfile, (dir.path() / "specification.txt").string(), 1, warnings), "");
  EXPECT_EQ(read_phenotypes(pfile, s.model, s.study), "");
  if (!genotypes.empty()) {
    EXPECT_EQ(read_genotypes((dir.path() / "genotype.dat").string(), s.model.mode, s.study), "");
  }
  return s;
}

const char* const kModelFile = "DESIGN = case-control\nCATEGORICAL = SEX\nEFFECT = G AGE\nOUTPUT = G\n";

}  // namespace

TEST(Phenotypes, MissingResponseOrModelCovariateExcludesOtherGapsAreKept) {
  // SEX is only CATEGORICAL and BMI nowhere in the model: their gaps keep the individual.
  Study s = read_study("STATUS AGE SEX BMI\n1 30 1 22.5\nNA 31 2 23\n0 NA 1 24\n0.9 33 . 25\n1.2 34 2 x\n", kModelFile);
  const StudyData& d = s.study;
  EXPECT_EQ(d.n_total, 5);
  EXPECT_EQ(d.n, 3);
  EXPECT_EQ(d.used, (std::vector<char>{1, 0, 0, 1, 1}));
  EXPECT_EQ(d.STATUS, (std::vector<int>{1, 0, 1}));
  ASSERT_EQ(d.cov.size(), 9u);
  EXPECT_EQ(d.covariate(1, 0), 33);
  EXPECT_TRUE(std::isnan(d.covariate(1, 1)));
  EXPECT_EQ(d.covariate(1, 2), 25);
  EXPECT_EQ(d.covariate(2, 1), 2);
  EXPECT_TRUE(std::isnan(d.covariate(2, 2)));
}

TEST(Phenotypes, CohortEventIsTruncatedTowardZero) {
  Study s = read_study("TIME EVENT AGE\n5.5 1.0 40\n6 0.9 41\nNA 1 42\n7 NA 43\n8 -0.7 44\n",
                       "DESIGN = cohort\nEFFECT = G\nOUTPUT = G\n");
  EXPECT_EQ(s.study.n, 3);
  EXPECT_EQ(s.study.TIME, (std::vector<double>{5.5, 6, 8}));
  EXPECT_EQ(s.study.EVENT, (std::vector<int>{1, 0, 0}));
  EXPECT_EQ(s.study.cov, (std::vector<double>{40, 41, 44}));
}

TEST(Phenotypes, DependentCovariatesMoveFirstWithEverythingAttached) {
  // File order A B C D; D and B are DEPENDENT: B D A C; the appended G and Z stay last.
  Study s = read_study("STATUS A B C D\n1 10 20 30 40\n0 11 21 31 41\n",
                       "DESIGN = case-control\nCATEGORICAL = B C\nDEPENDENT = D B\n"
                       "EFFECT = G A D B*C G*D A*C G*Z\nOUTPUT = G G*D\n");
  Model& m = s.model;
  order_dependent_first(m, s.study);
  // G*Z appends an unknown Z as a further genetic term.
  EXPECT_EQ(m.names, (std::vector<std::string>{"B", "D", "A", "C", "G", "Z"}));
  EXPECT_EQ(m.pH, 2);
  EXPECT_EQ(m.categorical, (std::vector<int>{1, 0, 0, 1}));
  EXPECT_EQ(m.dep, (std::vector<char>{'D', 'D', 'I', 'I'}));
  const int B = 0, D = 1, A = 2, C = 3, G = 4, Z = 5;
  std::array<std::array<int, kMaxEffectNames>, kMaxEffectNames> expected{};
  auto set = [&](int i, int j, int v) { expected[i][j] = expected[j][i] = v; };
  set(G, G, 2), set(A, A, 1), set(D, D, 1), set(B, C, 1), set(G, D, 2), set(A, C, 1), set(G, Z, 1);
  EXPECT_EQ(m.effect, expected);
  EXPECT_EQ(s.study.cov, (std::vector<double>{20, 40, 10, 30, 21, 41, 11, 31}));
}

TEST(Genotypes, CodesOfUsedIndividualsAndFrequenciesPerMode) {
  const std::string phen = "STATUS AGE SEX\n1 30 1\nNA 31 2\n0 32 1\n1 33 2\n0 34 1\n";
  // Allele letters apart by a tab, several blanks or nothing read alike.
  const std::string geno = "rs1 100 0 A G 0 1 2 9 2\nrs2\t200 1 C\t\tG 9 0 9 9 9\r\n\nrs3 300 0 T  C 1 2 1 1 0\n"
                           "rs4 400 0 AT 0 0 0 0 1";
  const char* modes[] = {"additive", "recessive", "dominant", "codominant"};
  for (int mode = kAdditive; mode <= kCodominant; mode++) {
    Study s = read_study(phen, std::string(kModelFile) + "MODE = " + modes[mode - 1] + "\n", geno);
    const StudyData& d = s.study;
    ASSERT_EQ(d.nsnp, 4);
    EXPECT_EQ(d.id, (std::vector<std::string>{"rs1", "rs2", "rs3", "rs4"}));
    EXPECT_EQ(d.pos, (std::vector<int>{100, 200, 300, 400}));
    EXPECT_EQ(d.strand, (std::vector<int>{0, 1, 0, 0}));
    EXPECT_EQ(std::string(d.a1.begin(), d.a1.end()), "ACTA");
    EXPECT_EQ(std::string(d.a2.begin(), d.a2.end()), "GGCT");
    // The second individual is excluded: its codes 1, 0, 2, 0 are dropped.
    EXPECT_EQ(d.geno, (std::vector<std::uint8_t>{0, 2, 9, 2, 9, 9, 9, 9, 1, 1, 1, 0, 0, 0, 0, 1}));
    EXPECT_DOUBLE_EQ(d.freq[0], 4.0 / 6);
    EXPECT_DOUBLE_EQ(d.missing[0], 0.25);
    EXPECT_DOUBLE_EQ(d.freq[2], 3.0 / 8);
    // No typed genotype among the used individuals: no frequency, and no error.
    EXPECT_TRUE(std::isnan(d.freq[1]));
    EXPECT_DOUBLE_EQ(d.missing[1], 1.0);
    const double share0[] = {NAN, 2.0 / 3, 2.0 / 3, 2.0 / 3}, share2[] = {NAN, 0.0, 0.75, 0.0};
    if (mode == kAdditive) {
      EXPECT_TRUE(std::isnan(d.mode_freq[0]));
    } else {
      EXPECT_DOUBLE_EQ(d.mode_freq[0], share0[mode - 1]);
      EXPECT_DOUBLE_EQ(d.mode_freq[2], share2[mode - 1]);
    }
  }
}
