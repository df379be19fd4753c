// The model: covariate names from the phenotype header, the keyword lines of the
// specification file, and every error that stops a run while they are read.
#include <gtest/gtest.h>

#include "driver/specfile.h"
#include "support/process.h"

namespace {

struct Parsed {
  Model model;
  std::vector<std::string> warnings;
  std::string error;
};

Parsed parse(const std::string& header, const std::string& spec, int ext = 1) {
  ScratchDir dir;
  dir.write("phenotype.dat", header);
  dir.write("specification.txt", spec);
  Parsed r;
  r.error = read_header(r.model, (dir.path() / "phenotype.dat").string(), (dir.path() / "specification.txt").string(),
                        ext, r.warnings);
  return r;
}

// The error line a specification gives, or "" when it is accepted.
std::string error_of(const std::string& spec, const std::string& header = "STATUS AGE SEX BMI\n1 2 3 4\n") {
  return parse(header, spec).error;
}

int index_of(const Model& m, const std::string& name) {
  for (std::size_t i = 0; i < m.names.size(); i++)
    if (m.names[i] == name) return static_cast<int>(i);
  return -1;
}

}  // namespace

TEST(SpecificationFile, ReadsDesignPanelModeAndCovariateKinds) {
  Parsed r = parse("STATUS AGE SEX BMI\n",
                   "DESIGN = cross-sectional extra words\n\nPANEL = 30 10 60\nMODE = dominant\nMODE = codominant\n"
                   "CATEGORICAL = SEX\nDEPENDENT : SEX BMI\nEFFECT = G AGE SEX G*BMI\nOUTPUT = G G*BMI\n");
  ASSERT_EQ(r.error, "");
  const Model& m = r.model;
  EXPECT_EQ(m.design, 3);
  EXPECT_EQ(m.mode, 4);
  EXPECT_EQ(m.nTR, 30);
  EXPECT_EQ(m.nDU, 10);
  EXPECT_EQ(m.nUN, 60);
  EXPECT_EQ(m.p, 3);
  EXPECT_EQ(m.pH, 1);
  EXPECT_EQ(m.names, (std::vector<std::string>{"AGE", "SEX", "BMI", "G"}));
  EXPECT_EQ(m.categorical, (std::vector<int>{0, 1, 0}));
  EXPECT_EQ(m.dep, (std::vector<char>{'I', 'D', 'D'}));
  EXPECT_EQ(m.effect[3][3], 2);
  EXPECT_EQ(m.effect[0][0], 1);
  EXPECT_EQ(m.effect[1][1], 1);
  EXPECT_EQ(m.effect[2][2], 0);
  EXPECT_EQ(m.effect[3][2], 2);
  EXPECT_EQ(m.effect[2][3], 2);
  EXPECT_EQ(m.effect[0][3], 0);
}

TEST(SpecificationFile, CohortDropsTheEventColumnFromTheCovariates) {
  Parsed r = parse("TIME EVENT AGE\n", "DESIGN = cohort\nEFFECT = G AGE\nOUTPUT = G\n");
  ASSERT_EQ(r.error, "");
  EXPECT_EQ(r.model.design, 2);
  EXPECT_EQ(r.model.names, (std::vector<std::string>{"AGE", "G"}));
  EXPECT_EQ(error_of("DESIGN = cohort\nEFFECT = EVENT\nOUTPUT = G\n", "TIME EVENT AGE\n"),
            "Error: Unknown effect 'EVENT' in EFFECT\n");
  EXPECT_EQ(error_of("DESIGN = cohort\nCATEGORICAL = EVENT\n", "TIME EVENT AGE\n"),
            "Error: Unknown value 'EVENT' for CATEGORICAL.\n");
}

TEST(SpecificationFile, GeneticProductsFollowTheWrittenOrder) {
  // G*Z appends an unknown Z; X*G needs G listed before it.
  Parsed r = parse("STATUS AGE\n", "DESIGN = case-control\nEFFECT = G*Z\nOUTPUT = G*Z\n");
  ASSERT_EQ(r.error, "");
  EXPECT_EQ(r.model.names, (std::vector<std::string>{"AGE", "G", "Z"}));
  EXPECT_EQ(r.model.pH, 2);
  EXPECT_EQ(r.model.effect[1][1], 0);
  EXPECT_EQ(r.model.effect[1][2], 2);
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = AGE*G\nOUTPUT = AGE\n"),
            "Error: Unknown effect 'G' in EFFECT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G AGE*G\nOUTPUT = AGE*G\n"), "");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = AGE*FOO\nOUTPUT = AGE\n"),
            "Error: Unknown effect 'FOO' in EFFECT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = FOO*AGE\nOUTPUT = AGE\n"),
            "Error: Unknown effect 'FOO' in EFFECT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = X\nOUTPUT = G\n"), "Error: Unknown effect 'X' in EFFECT\n");
}

TEST(SpecificationFile, EachErrorLineIsExact) {
  EXPECT_EQ(error_of("\nDESIGN = case-control\n").rfind("Error: DESIGN is not defined in the first line of '", 0), 0u);
  EXPECT_EQ(error_of("MODE = additive\n").rfind("Error: DESIGN is not defined in the first line of '", 0), 0u);
  EXPECT_EQ(error_of("DESIGN = case-control\nMODE =\n"), "Error: 'MODE' cannot be empty.\n");
  EXPECT_EQ(error_of("DESIGN\n"), "Error: 'DESIGN' cannot be empty.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nFOO = bar\n"), "Error: Unknown KEYWORD 'FOO'.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\ndesign = bar\n"), "Error: Unknown KEYWORD 'design'.\n");
  EXPECT_EQ(error_of("DESIGN = family\n"), "Error: Unknown value 'family' for DESIGN.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nCATEGORICAL = SEX FOO\n"),
            "Error: Unknown value 'FOO' for CATEGORICAL.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nDEPENDENT = G\n"), "Error: Unknown value 'G' for DEPENDENT.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nMODE = Additive\n"), "Error: Unknown value 'Additive' for MODE.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G\nOUTPUT = H\n"), "Error: Unknown effect 'H' in OUTPUT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G\nOUTPUT = AGE\n"), "Error: 'AGE' in OUTPUT is not in EFFECT.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G\nOUTPUT = G G\n"), "Error: 'G' in OUTPUT is not in EFFECT.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G\nOUTPUT = G\nOUTPUT = G\n"),
            "Error: 'G' in OUTPUT is not in EFFECT.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G AGE\nOUTPUT = G*AGE\n"),
            "Error: 'G*AGE' in OUTPUT is not in EFFECT.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G AGE\nOUTPUT = AGE*X\n"),
            "Error: Unknown effect 'X' in OUTPUT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nOUTPUT = WEIGHT\n"), "Error: Unknown effect 'WEIGHT' in OUTPUT\n");
  EXPECT_EQ(error_of("DESIGN = case-control\n"), "Error: EFFECT is not specified.\n");
  EXPECT_EQ(error_of("DESIGN = case-control\nEFFECT = G\n"), "Error: OUTPUT is not specified.\n");
}

TEST(SpecificationFile, PhenotypeHeaderMustNotStartWithANumber) {
  EXPECT_EQ(parse("1 0 3\n", "DESIGN = case-control\n").error.rfind("Error: Header line is missing in '", 0), 0u);
  EXPECT_EQ(parse("", "DESIGN = case-control\n").error.rfind("Error: Header line is missing in '", 0), 0u);
  EXPECT_EQ(parse("-0.5 AGE\n", "DESIGN = case-control\n").error.rfind("Error: Header line is missing", 0), 0u);
  EXPECT_EQ(parse("STATUS\n", "DESIGN = case-control\nEFFECT = G\nOUTPUT = G\n").error, "");
}

TEST(SpecificationFile, LongLinesAreReadInPiecesOfNinetyNineCharacters) {
  std::string padding(95, ' ');
  // The piece boundary falls inside the blanks: the rest "MODE = recessive" is a line of its own.
  Parsed r = parse("STATUS\n", "DESIGN = case-control\nEFFECT = G" + padding + "MODE = recessive\nOUTPUT = G\n");
  EXPECT_EQ(r.error, "");
  EXPECT_EQ(r.model.mode, 2);
  // A piece that starts inside a word must itself start with a keyword.
  std::string panel = "PANEL = 1 2 3";
  panel.resize(97, ' ');
  EXPECT_EQ(error_of("DESIGN = case-control\n" + panel + "XXYZ = 1\n"), "Error: Unknown KEYWORD 'YZ'.\n");
  EXPECT_EQ(line_pieces(std::string(99, 'a') + "\n").size(), 2u);
  EXPECT_EQ(line_pieces(std::string(98, 'a') + "\n").size(), 1u);
}

TEST(SpecificationFile, WindowsLineEndsTabsAndNoFinalNewlineReadAlike) {
  Parsed r = parse("STATUS\tAGE \r\n", "DESIGN\t=\tcase-control\r\n\r\nEFFECT =  G\tAGE\r\nOUTPUT = G");
  ASSERT_EQ(r.error, "");
  EXPECT_EQ(r.model.names, (std::vector<std::string>{"AGE", "G"}));
  EXPECT_EQ(r.model.effect[0][0], 1);
  EXPECT_EQ(r.model.effect[1][1], 2);
}

TEST(SpecificationFile, PanelCountsAndTheIgnoredPanelWarning) {
  Parsed r = parse("STATUS\n", "DESIGN = case-control\nPANEL = 7 x 9\nEFFECT = G\nOUTPUT = G\n");
  EXPECT_EQ(r.model.nTR, 7);
  EXPECT_EQ(r.model.nDU, 0);
  EXPECT_EQ(r.model.nUN, 0);
  r = parse("STATUS\n", "DESIGN = case-control\nPANEL = 7 8 9\nEFFECT = G\nOUTPUT = G\n", 0);
  EXPECT_EQ(r.model.nTR, 0);
  EXPECT_EQ(r.warnings, (std::vector<std::string>{"Warning: PANEL will be ignored since '-ne' is used\n"}));
}

TEST(SpecificationFile, SymmetrisesTheEffectMatrixOverAllNames) {
  Parsed r = parse("STATUS A B\n", "DESIGN = case-control\nEFFECT = A B A*B G G*A\nOUTPUT = A*B\n");
  ASSERT_EQ(r.error, "");
  const Model& m = r.model;
  int a = index_of(m, "A"), b = index_of(m, "B"), g = index_of(m, "G");
  EXPECT_EQ(m.effect[a][b], 2);
  EXPECT_EQ(m.effect[b][a], 2);
  EXPECT_EQ(m.effect[g][a], 1);
  EXPECT_EQ(m.effect[a][g], 1);
  EXPECT_EQ(m.effect[b][g], 0);
}

TEST(SpecificationFile, InputBeyondTheTableSizesIsRejected) {
  std::string header = "STATUS";
  for (int i = 0; i < 41; i++) header += " X" + std::to_string(i);
  EXPECT_NE(parse(header + "\n", "DESIGN = case-control\n").error.find("at most 40 are allowed"), std::string::npos);
  EXPECT_NE(parse("STATUS " + std::string(30, 'a') + "\n", "DESIGN = case-control\n").error.find("longer than 29"),
            std::string::npos);
  EXPECT_NE(error_of("DESIGN = case-control\nEFFECT = G " + std::string(30, 'b') + "\n").find("longer than 29"),
            std::string::npos);
  header = "STATUS";
  for (int i = 0; i < 40; i++) header += " X" + std::to_string(i);
  EXPECT_EQ(parse(header + "\n", "DESIGN = case-control\nEFFECT = G\nOUTPUT = G\n").error, "");
  EXPECT_NE(parse(header + "\n", "DESIGN = case-control\nEFFECT = G G*H\nOUTPUT = G\n").error.find("at most 41"),
            std::string::npos);
}

TEST(SpecificationFile, ErrorsStopTheProgramWithStatusOne) {
  ScratchDir dir;
  for (const char* f : {"genotype.dat", "external.dat", "haplotype.dat"}) dir.write(f, "");
  dir.write("phenotype.dat", "STATUS AGE\n");
  dir.write("specification.txt", "DESIGN = case-control\nEFFECT = G\nOUTPUT = AGE\n");
  RunResult r = run_kestrova(dir, {});
  EXPECT_EQ(r.status, 1);
  std::string tail = "\nError: 'AGE' in OUTPUT is not in EFFECT.\n\nKestrova was stopped due to error(s) listed above.\n\n";
  ASSERT_GE(r.out.size(), tail.size());
  EXPECT_EQ(r.out.substr(r.out.size() - tail.size()), tail);
}
