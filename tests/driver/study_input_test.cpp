// The study files: who is used, what is stored per individual, the DEPENDENT-first
// order of the covariates, and per SNP the stored codes and frequencies.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/specfile.h"
#include "driver/study_input.h"
#include "support/process.h"

namespace {

struct Study {
  Model model;
  StudyData study;
  std::string error;
};

// Reads the model from spec and the phenotype file, then (if given) the genotypes.
Study read_study(const std::string& phenotypes, const std::string& spec, const std::string& genotypes = "") {
  ScratchDir dir;
  dir.write("phenotype.dat", phenotypes);
  dir.write("specification.txt", spec);
  dir.write("genotype.dat", genotypes);
  Study s;
  std::vector<std::string> warnings;
  const std::string pfile = (dir.path() / "phenotype.dat").string();
  s.error = read_header(s.model, pfile, (dir.path() / "specification.txt").string(), 1, warnings);
  EXPECT_EQ(s.error, "");
  s.error = read_phenotypes(pfile, s.model, s.study);
  if (s.error.empty() && !genotypes.empty())
    s.error = read_genotypes((dir.path() / "genotype.dat").string(), s.model.mode, s.study);
  return s;
}

const char* const kCaseControlSpec = "DESIGN = case-control\nCATEGORICAL = SEX\nEFFECT = G AGE\nOUTPUT = G\n";

// The phenotype file's name as the error lines show it is the full path; keep the tail.
std::string tail_of(const std::string& error) {
  std::size_t at = error.find("of '");
  std::size_t file = error.find("phenotype.dat'");
  if (file == std::string::npos) file = error.find("genotype.dat'");
  if (at == std::string::npos || file == std::string::npos) return error;
  return error.substr(0, at + 4) + error.substr(file);
}

}  // namespace

TEST(Phenotypes, MissingResponseOrModelCovariateExcludesOthersAreKeptAsNaN) {
  // SEX is only CATEGORICAL, BMI nowhere in the model: their gaps keep the individual.
  Study s = read_study("STATUS AGE SEX BMI\n"
                       "1 30 1 22.5\n"
                       "NA 31 2 23\n"
                       "0 NA 1 24\n"
                       "0 33 . 25\n"
                       "1 34 2 x\n",
                       kCaseControlSpec);
  ASSERT_EQ(s.error, "");
  const StudyData& d = s.study;
  EXPECT_EQ(d.n_total, 5);
  EXPECT_EQ(d.n, 3);
  EXPECT_EQ(d.used, (std::vector<char>{1, 0, 0, 1, 1}));
  EXPECT_EQ(d.STATUS, (std::vector<int>{1, 0, 1}));
  ASSERT_EQ(d.p, 3);
  ASSERT_EQ(d.cov.size(), 9u);
  EXPECT_EQ(d.covariate(0, 0), 30);
  EXPECT_EQ(d.covariate(0, 2), 22.5);
  EXPECT_EQ(d.covariate(1, 0), 33);
  EXPECT_TRUE(std::isnan(d.covariate(1, 1)));
  EXPECT_EQ(d.covariate(1, 2), 25);
  EXPECT_EQ(d.covariate(2, 1), 2);
  EXPECT_TRUE(std::isnan(d.covariate(2, 2)));
}

TEST(Phenotypes, CohortTimeAndTruncatedEvent) {
  Study s = read_study("TIME EVENT AGE\n"
                       "5.5 1.0 40\n"
                       "6 0.9 41\n"
                       "NA 1 42\n"
                       "7 NA 43\n"
                       "8 -0.7 44\n"
                       "9 1.9 45\n",
                       "DESIGN = cohort\nEFFECT = G\nOUTPUT = G\n");
  ASSERT_EQ(s.error, "");
  EXPECT_EQ(s.study.n_total, 6);
  EXPECT_EQ(s.study.n, 4);
  EXPECT_EQ(s.study.TIME, (std::vector<double>{5.5, 6, 8, 9}));
  EXPECT_EQ(s.study.EVENT, (std::vector<int>{1, 0, 0, 1}));
  EXPECT_EQ(s.study.cov, (std::vector<double>{40, 41, 44, 45}));
  EXPECT_TRUE(s.study.STATUS.empty());
}

TEST(Phenotypes, CrossSectionalTraitAndStatusTruncation) {
  Study cs = read_study("Y AGE\n1.25 3\n-2 4\n", "DESIGN = cross-sectional\nEFFECT = G\nOUTPUT = G\n");
  ASSERT_EQ(cs.error, "");
  EXPECT_EQ(cs.study.TRAIT, (std::vector<double>{1.25, -2}));
  Study cc = read_study("STATUS AGE SEX\n1.7 3 1\n0.2 4 1\n", kCaseControlSpec);
  ASSERT_EQ(cc.error, "");
  EXPECT_EQ(cc.study.STATUS, (std::vector<int>{1, 0}));
  EXPECT_EQ(tail_of(read_study("STATUS AGE SEX\n1 3 1\n3e9 4 1\n", kCaseControlSpec).error),
            "Error: Line 3 of 'phenotype.dat' has status 3e+09, too large for an integer.\n");
}

TEST(Phenotypes, BlankLinesCrlfAndTabsReadLikePlainText) {
  Study plain = read_study("STATUS AGE SEX\n1 30 1\n0 31 2\n", kCaseControlSpec);
  Study messy = read_study("\n  \r\nSTATUS\tAGE  SEX\r\n\r\n1\t30 \t 1\r\n \t\n0 31 2", kCaseControlSpec);
  ASSERT_EQ(plain.error, "");
  ASSERT_EQ(messy.error, "");
  EXPECT_EQ(messy.study.n_total, 2);
  EXPECT_EQ(messy.study.STATUS, plain.study.STATUS);
  EXPECT_EQ(messy.study.cov, plain.study.cov);
}

TEST(Phenotypes, ARowWithTheWrongNumberOfColumnsNamesItsLine) {
  EXPECT_EQ(tail_of(read_study("STATUS AGE SEX\n1 30 1\n\n0 31\n", kCaseControlSpec).error),
            "Error: Line 4 of 'phenotype.dat' has 2 columns; 3 expected.\n");
  EXPECT_EQ(tail_of(read_study("STATUS AGE SEX\n1 30 1 7\n", kCaseControlSpec).error),
            "Error: Line 2 of 'phenotype.dat' has 4 columns; 3 expected.\n");
  // Excluded individuals are held to the same format.
  EXPECT_EQ(tail_of(read_study("TIME EVENT AGE\nNA 1\n", "DESIGN = cohort\nEFFECT = G\nOUTPUT = G\n").error),
            "Error: Line 2 of 'phenotype.dat' has 2 columns; 3 expected.\n");
}

TEST(Phenotypes, DependentCovariatesMoveFirstWithEverythingAttached) {
  // File order A B C D; B and D are DEPENDENT, so the order becomes B D A C, then G and E.
  Study s = read_study("STATUS A B C D E\n1 10 20 30 40 50\n0 11 21 31 41 51\n",
                       "DESIGN = case-control\nCATEGORICAL = B C\nDEPENDENT = D B\n"
                       "EFFECT = G A D B*C G*E G*D A*C\nOUTPUT = G G*D\n");
  ASSERT_EQ(s.error, "");
  Model& m = s.model;
  order_dependent_first(m, s.study);
  EXPECT_EQ(m.names, (std::vector<std::string>{"B", "D", "A", "C", "E", "G"}));
  EXPECT_EQ(m.p, 5);
  EXPECT_EQ(m.categorical, (std::vector<int>{1, 0, 0, 1, 0}));
  EXPECT_EQ(m.dep, (std::vector<char>{'D', 'D', 'I', 'I', 'I'}));
  const int B = 0, D = 1, A = 2, C = 3, E = 4, G = 5;
  EXPECT_EQ(m.effect[G][G], 2);
  EXPECT_EQ(m.effect[A][A], 1);
  EXPECT_EQ(m.effect[D][D], 1);
  EXPECT_EQ(m.effect[B][B], 0);
  EXPECT_EQ(m.effect[B][C], 1);
  EXPECT_EQ(m.effect[C][B], 1);
  EXPECT_EQ(m.effect[G][E], 1);
  EXPECT_EQ(m.effect[E][G], 1);
  EXPECT_EQ(m.effect[G][D], 2);
  EXPECT_EQ(m.effect[D][G], 2);
  EXPECT_EQ(m.effect[A][C], 1);
  EXPECT_EQ(m.effect[A][B], 0);
  EXPECT_EQ(m.effect[G][A], 0);
  int ones = 0;
  for (const auto& row : m.effect)
    for (int v : row) ones += v != 0;
  EXPECT_EQ(ones, 3 + 2 * 4);  // the diagonal G A D, the four pairs twice
  EXPECT_EQ(s.study.cov, (std::vector<double>{20, 40, 10, 30, 50, 21, 41, 11, 31, 51}));
}

TEST(Phenotypes, ReorderingWithAppendedGeneticTermsKeepsThemInPlace) {
  // G*Z appends G and Z after the covariates; Z's link with G must stay with them.
  Study s = read_study("STATUS X Y\n1 1 2\n", "DESIGN = case-control\nDEPENDENT = Y\nEFFECT = G*Z X X*G\nOUTPUT = X\n");
  ASSERT_EQ(s.error, "");
  order_dependent_first(s.model, s.study);
  EXPECT_EQ(s.model.names, (std::vector<std::string>{"Y", "X", "G", "Z"}));
  EXPECT_EQ(s.model.effect[2][3], 1);
  EXPECT_EQ(s.model.effect[1][2], 1);
  EXPECT_EQ(s.model.effect[2][1], 1);
  EXPECT_EQ(s.model.effect[0][2], 0);
  EXPECT_EQ(s.model.effect[1][1], 2);
  EXPECT_EQ(s.study.cov, (std::vector<double>{2, 1}));
}

TEST(Genotypes, CodesOfUsedIndividualsAndFrequenciesPerMode) {
  const std::string phen = "STATUS AGE SEX\n1 30 1\nNA 31 2\n0 32 1\n1 33 2\n0 34 1\n";
  const std::string geno = "rs1 100 0 A G 0 1 2 9 2\n"
                           "rs2\t200 1 C\t\tG 9 0 9 9 9\r\n"
                           "\n"
                           "rs3 300 0 T  C 1 2 1 1 0";
  for (int mode = 1; mode <= 4; mode++) {
    const char* names[] = {"additive", "recessive", "dominant", "codominant"};
    Study s = read_study(phen, std::string(kCaseControlSpec) + "MODE = " + names[mode - 1] + "\n", geno);
    ASSERT_EQ(s.error, "");
    const StudyData& d = s.study;
    ASSERT_EQ(d.nsnp, 3);
    ASSERT_EQ(d.n, 4);
    EXPECT_EQ(d.id, (std::vector<std::string>{"rs1", "rs2", "rs3"}));
    EXPECT_EQ(d.pos, (std::vector<int>{100, 200, 300}));
    EXPECT_EQ(d.strand, (std::vector<int>{0, 1, 0}));
    EXPECT_EQ(d.a1, (std::vector<char>{'A', 'C', 'T'}));
    EXPECT_EQ(d.a2, (std::vector<char>{'G', 'G', 'C'}));
    // The second individual is excluded: its codes (1, 0, 2) are dropped.
    EXPECT_EQ(std::vector<std::uint8_t>(d.genotypes(0), d.genotypes(0) + 4), (std::vector<std::uint8_t>{0, 2, 9, 2}));
    EXPECT_EQ(std::vector<std::uint8_t>(d.genotypes(2), d.genotypes(2) + 4), (std::vector<std::uint8_t>{1, 1, 1, 0}));
    EXPECT_DOUBLE_EQ(d.freq[0], 4.0 / 6);
    EXPECT_DOUBLE_EQ(d.missing[0], 0.25);
    EXPECT_DOUBLE_EQ(d.freq[2], 3.0 / 8);
    EXPECT_DOUBLE_EQ(d.missing[2], 0.0);
    // No typed genotype among the used: not a number, and not an error.
    EXPECT_TRUE(std::isnan(d.freq[1]));
    EXPECT_DOUBLE_EQ(d.missing[1], 1.0);
    if (mode == 1) {
      EXPECT_TRUE(std::isnan(d.mode_freq[0]));
    } else if (mode == 3) {
      EXPECT_DOUBLE_EQ(d.mode_freq[0], 2.0 / 3);
      EXPECT_DOUBLE_EQ(d.mode_freq[2], 3.0 / 4);
    } else {
      EXPECT_DOUBLE_EQ(d.mode_freq[0], 2.0 / 3);
      EXPECT_DOUBLE_EQ(d.mode_freq[2], 0.0);
    }
  }
}

TEST(Genotypes, AlleleLettersReadTheSameHoweverTheyAreSeparated) {
  const std::string phen = "STATUS AGE SEX\n1 30 1\n0 31 2\n";
  for (const char* line : {"rs1 100 0 A G 0 1\n", "rs1 100 0 A\tG 0 1\n", "rs1 100 0 A    G\t0 1\n",
                           "rs1 100 0 A \t G 0 1\r\n", "rs1\t100\t0\tA\tG\t0\t1", "rs1 100 0 AG 0 1\n"}) {
    Study s = read_study(phen, kCaseControlSpec, line);
    ASSERT_EQ(s.error, "") << line;
    EXPECT_EQ(s.study.a1[0], 'A') << line;
    EXPECT_EQ(s.study.a2[0], 'G') << line;
    EXPECT_EQ(std::vector<std::uint8_t>(s.study.geno.begin(), s.study.geno.end()), (std::vector<std::uint8_t>{0, 1}))
        << line;
  }
}

TEST(Genotypes, EachMalformedLineIsNamed) {
  const std::string phen = "STATUS AGE SEX\n1 30 1\nNA 31 2\n0 32 1\n";
  auto error = [&](const std::string& geno) { return tail_of(read_study(phen, kCaseControlSpec, geno).error); };
  EXPECT_EQ(error("rs1 100 0 A G 0 1 2\n\nrs2 200 0 A G 0 1\n"),
            "Error: Line 3 of 'genotype.dat' has 2 genotypes; 3 expected, one per individual in the phenotype file.\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 1 2 1 0\n"),
            "Error: Line 1 of 'genotype.dat' has 5 genotypes; 3 expected, one per individual in the phenotype file.\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 x 2\n"),
            "Error: Genotype 'x' of individual 2 on line 1 of 'genotype.dat' is not an integer.\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 1.0 2\n"),
            "Error: Genotype '1.0' of individual 2 on line 1 of 'genotype.dat' is not an integer.\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 1 3\n"),
            "Error: Genotype 3 of individual 3 on line 1 of 'genotype.dat' is not 0, 1, 2 or 9 (missing).\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 -1 2\n"),
            "Error: Genotype -1 of individual 2 on line 1 of 'genotype.dat' is not 0, 1, 2 or 9 (missing).\n");
  EXPECT_EQ(error("rs1 100 0 A G 0 1 12\n"),
            "Error: Genotype 12 of individual 3 on line 1 of 'genotype.dat' is not 0, 1, 2 or 9 (missing).\n");
  EXPECT_EQ(error("rs1 1e5 0 A G 0 1 2\n"), "Error: Position '1e5' on line 1 of 'genotype.dat' is not an integer.\n");
  EXPECT_EQ(error("rs1 300000000 0 A G 0 1 2\n"),
            "Error: Position 300000000 on line 1 of 'genotype.dat' is out of range (-299999999 to 299999999).\n");
  EXPECT_EQ(error("rs1 100 x A G 0 1 2\n"),
            "Error: Strand flag 'x' on line 1 of 'genotype.dat' is not an integer.\n");
  EXPECT_EQ(error("rs1\n"), "Error: Line 1 of 'genotype.dat' has no position.\n");
  EXPECT_EQ(error("rs1 100\n"), "Error: Line 1 of 'genotype.dat' has no strand flag.\n");
  EXPECT_EQ(error("rs1 100 0 A\n"), "Error: Line 1 of 'genotype.dat' has no allele letters.\n");
  EXPECT_EQ(error("rs1 100 0 A G\n"),
            "Error: Line 1 of 'genotype.dat' has 0 genotypes; 3 expected, one per individual in the phenotype file.\n");
  EXPECT_EQ(error("rs123456789012345678901234567890 100 0 A G 0 1 2\n"),
            "Error: SNP identifier 'rs123456789012345678901234567890' on line 1 of 'genotype.dat' is longer than 29 "
            "characters.\n");
  EXPECT_EQ(error("rs12345678901234567890123456 100 0 A G 0 1 2\n"), "");
}
