// The model: covariate names from the phenotype header, the keyword lines of the
// specification file, and every error that stops a run while they are read.
#include <gtest/gtest.h>

#include "driver/specfile.h"
#include "support/process.h"

namespace {

struct Parsed {
  Model model;
  std::vector<std::string> warnings;
  std::string error;  // with the scratch folder written as <dir>
};

Parsed parse(const std::string& header, const std::string& model_text, int ext = 1) {
  ScratchDir dir;
  dir.write("phenotype.dat", header);
  dir.write("specification.txt", model_text);
  Parsed r;
  r.error = read_header(r.model, (dir.path() / "phenotype.dat").string(), (dir.path() / "specification.txt").string(),
                        ext, r.warnings);
  for (std::size_t at; (at = r.error.find(dir.path().string())) != std::string::npos;)
    r.error.replace(at, dir.path().string().size(), "<dir>");
  return r;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(SpecificationFile, ReadsDesignPanelModeAndCovariateKinds) {
  Parsed r = parse("STATUS AGE SEX BMI\n",
                   "DESIGN = cross-sectional extra words\n\nPANEL = 30 10 60\nMODE = dominant\nMODE = codominant\n"
                   "CATEGORICAL = SEX\nDEPENDENT : SEX BMI\nEFFECT = G AGE SEX G*BMI\nOUTPUT = G G*BMI\n");
  ASSERT_EQ(r.error, "");
  const Model& m = r.model;
  EXPECT_EQ(m.design, 3);
  EXPECT_EQ(m.mode, 4);
  EXPECT_EQ(std::vector<int>({m.nTR, m.nDU, m.nUN}), std::vector<int>({30, 10, 60}));
  EXPECT_EQ(m.p, 3);
  EXPECT_EQ(m.pH, 1);
  EXPECT_EQ(m.names, (Names{"AGE", "SEX", "BMI", "G"}));
  EXPECT_EQ(m.categorical, (std::vector<int>{0, 1, 0}));
  EXPECT_EQ(m.dep, (std::vector<char>{'I', 'D', 'D'}));
  // G under OUTPUT: 2 on the diagonal; the product on both sides of it.
  const int effect[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 0, 2}, {0, 0, 2, 2}};
  for (int i = 0; i < 4; i++)
    for (int j = 0; j < 4; j++) EXPECT_EQ(m.effect[i][j], effect[i][j]) << i << "," << j;

  // The cohort design drops the event column from the covariates.
  r = parse("TIME EVENT AGE\n", "DESIGN = cohort\nEFFECT = G AGE\nOUTPUT = G\n");
  ASSERT_EQ(r.error, "");
  EXPECT_EQ(r.model.design, 2);
  EXPECT_EQ(r.model.names, (Names{"AGE", "G"}));
}

TEST(SpecificationFile, EachErrorLineIsExact) {
  const std::string kHeader = "STATUS AGE SEX BMI\n", kCc = "DESIGN = case-control\n";
  std::string wide = "STATUS", widest = "STATUS";
  for (int i = 0; i < 40; i++) wide += " X" + std::to_string(i);
  widest = wide + " X40\n";
  wide += "\n";
  const struct {
    std::string header, model_text, error;
  } cases[] = {
      {"", kCc, "Error: Header line is missing in '<dir>/phenotype.dat'.\n"},
      {"-0.5 AGE\n", kCc, "Error: Header line is missing in '<dir>/phenotype.dat'.\n"},
      {widest, kCc, "Error: Header line of '<dir>/phenotype.dat' names 41 covariates; at most 40 are allowed.\n"},
      {"STATUS " + std::string(30, 'a') + "\n", kCc,
       "Error: Column name '" + std::string(30, 'a') + "' in '<dir>/phenotype.dat' is longer than 29 characters.\n"},
      {kHeader, "\n" + kCc, "Error: DESIGN is not defined in the first line of '<dir>/specification.txt'.\n"},
      {kHeader, "MODE = additive\n", "Error: DESIGN is not defined in the first line of '<dir>/specification.txt'.\n"},
      {kHeader, "DESIGN\n", "Error: 'DESIGN' cannot be empty.\n"},
      {kHeader, "DESIGN = family\n", "Error: Unknown value 'family' for DESIGN.\n"},
      {kHeader, kCc + "MODE =\n", "Error: 'MODE' cannot be empty.\n"},
      {kHeader, kCc + "MODE = Additive\n", "Error: Unknown value 'Additive' for MODE.\n"},
      {kHeader, kCc + "FOO = bar\n", "Error: Unknown KEYWORD 'FOO'.\n"},
      {kHeader, kCc + "design = bar\n", "Error: Unknown KEYWORD 'design'.\n"},
      {kHeader, kCc + "CATEGORICAL = SEX FOO\n", "Error: Unknown value 'FOO' for CATEGORICAL.\n"},
      {kHeader, kCc + "DEPENDENT = G\n", "Error: Unknown value 'G' for DEPENDENT.\n"},
      // X*G needs G listed before it.
      {kHeader, kCc + "EFFECT = AGE*G\nOUTPUT = AGE\n", "Error: Unknown effect 'G' in EFFECT\n"},
      {kHeader, kCc + "EFFECT = G AGE*G\nOUTPUT = AGE*G\n", ""},
      {kHeader, kCc + "EFFECT = AGE*FOO\nOUTPUT = AGE\n", "Error: Unknown effect 'FOO' in EFFECT\n"},
      {kHeader, kCc + "EFFECT = FOO*AGE\nOUTPUT = AGE\n", "Error: Unknown effect 'FOO' in EFFECT\n"},
      {kHeader, kCc + "EFFECT = X\nOUTPUT = G\n", "Error: Unknown effect 'X' in EFFECT\n"},
      {kHeader, kCc + "EFFECT = G " + std::string(30, 'b') + "\n",
       "Error: Word '" + std::string(30, 'b') + "' in '<dir>/specification.txt' is longer than 29 characters.\n"},
      {wide, kCc + "EFFECT = G\nOUTPUT = G\n", ""},
      {wide, kCc + "EFFECT = G G*H\nOUTPUT = G\n",
       "Error: Too many effect names in '<dir>/specification.txt'; at most 41 covariates and genetic terms are "
       "allowed.\n"},
      {kHeader, kCc + "EFFECT = G\nOUTPUT = H\n", "Error: Unknown effect 'H' in OUTPUT\n"},
      {kHeader, kCc + "EFFECT = G\nOUTPUT = AGE\n", "Error: 'AGE' in OUTPUT is not in EFFECT.\n"},
      {kHeader, kCc + "EFFECT = G\nOUTPUT = G\nOUTPUT = G\n", "Error: 'G' in OUTPUT is not in EFFECT.\n"},
      {kHeader, kCc + "EFFECT = G AGE\nOUTPUT = G*AGE\n", "Error: 'G*AGE' in OUTPUT is not in EFFECT.\n"},
      {kHeader, kCc + "EFFECT = G AGE\nOUTPUT = AGE*X\n", "Error: Unknown effect 'X' in OUTPUT\n"},
      {kHeader, kCc + "OUTPUT = WEIGHT\n", "Error: Unknown effect 'WEIGHT' in OUTPUT\n"},
      {kHeader, kCc, "Error: EFFECT is not specified.\n"},
      {kHeader, kCc + "EFFECT = G\n", "Error: OUTPUT is not specified.\n"},
      {"STATUS\n", kCc + "EFFECT = G\nOUTPUT = G\n", ""},
      // The event column of the cohort design is not a covariate.
      {"TIME EVENT AGE\n", "DESIGN = cohort\nEFFECT = EVENT\nOUTPUT = G\n",
       "Error: Unknown effect 'EVENT' in EFFECT\n"},
      {"TIME EVENT AGE\n", "DESIGN = cohort\nCATEGORICAL = EVENT\n", "Error: Unknown value 'EVENT' for CATEGORICAL.\n"},
      {"TIME EVENT AGE\n", "DESIGN = cohort\nDEPENDENT = EVENT\n", "Error: Unknown value 'EVENT' for DEPENDENT.\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(parse(c.header, c.model_text).error, c.error) << c.header << c.model_text;
}

TEST(SpecificationFile, LongLinesAreReadInPiecesOfNinetyNineCharacters) {
  // The piece boundary falls inside the blanks: the rest "MODE = recessive" is a line of its own.
  const std::string blanks(95, ' ');
  Parsed r = parse("STATUS\n", "DESIGN = case-control\nEFFECT = G" + blanks + "MODE = recessive\nOUTPUT = G\n");
  EXPECT_EQ(r.error, "");
  EXPECT_EQ(r.model.mode, 2);
  // A piece that starts inside a word must itself start with a keyword.
  std::string panel = "PANEL = 1 2 3";
  panel.resize(97, ' ');
  EXPECT_EQ(parse("STATUS\n", "DESIGN = case-control\n" + panel + "XXYZ = 1\n").error,
            "Error: Unknown KEYWORD 'YZ'.\n");
}

TEST(SpecificationFile, PanelCountsAndTheIgnoredPanelWarning) {
  Parsed r = parse("STATUS\n", "DESIGN = case-control\nPANEL = 7 x 9\nEFFECT = G\nOUTPUT = G\n");
  EXPECT_EQ(std::vector<int>({r.model.nTR, r.model.nDU, r.model.nUN}), std::vector<int>({7, 0, 0}));
  r = parse("STATUS\n", "DESIGN = case-control\nPANEL = 7 8 9\nEFFECT = G\nOUTPUT = G\n", 0);
  EXPECT_EQ(r.model.nTR, 0);
  EXPECT_EQ(r.warnings, Names{"Warning: PANEL will be ignored since '-ne' is used\n"});
}
