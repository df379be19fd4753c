// The external panel and phased haplotype files: column counts, the PANEL check,
// codes with and without blanks, frequencies over all columns, and malformed lines.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/panel_input.h"
#include "support/process.h"

namespace {

Model panel_model(int trios, int duos, int singletons, int mode = kAdditive) {
  Model m;
  m.nTR = trios;
  m.nDU = duos;
  m.nUN = singletons;
  m.mode = mode;
  return m;
}

// Reads text as the panel file; the error line keeps only the file's last name.
std::string read_as_panel(const std::string& text, const Model& model, PanelData& panel) {
  ScratchDir dir;
  dir.write("external.dat", text);
  std::string e = read_panel((dir.path() / "external.dat").string(), model, panel);
  std::size_t at = e.find(dir.path().string() + "/");
  if (at != std::string::npos) e.erase(at, dir.path().string().size() + 1);
  return e;
}

std::string read_as_haplotypes(const std::string& text, PanelData& panel) {
  ScratchDir dir;
  dir.write("haplotype.dat", text);
  std::string e = read_haplotypes((dir.path() / "haplotype.dat").string(), panel);
  std::size_t at = e.find(dir.path().string() + "/");
  if (at != std::string::npos) e.erase(at, dir.path().string().size() + 1);
  return e;
}

std::vector<int> row(const PanelData& p, int snp) {
  return std::vector<int>(p.genotypes(snp), p.genotypes(snp) + p.ncol);
}

}  // namespace

TEST(Panel, CodesWithOrWithoutBlanksAndFrequenciesOverAllColumns) {
  // One trio and one singleton: four columns.
  for (int mode = kAdditive; mode <= kCodominant; mode++) {
    PanelData p;
    ASSERT_EQ(read_as_panel("rs1 100 A G 0 1 2 9\r\n\n"
                            "rs2\t200 C\t\tG 2219\n"
                            "rs3 300 AT 1 1 1 1\n"
                            "rs4 400 A G 9999",
                            panel_model(1, 0, 1, mode), p),
              "");
    ASSERT_EQ(p.nsnp, 4);
    ASSERT_EQ(p.ncol, 4);
    EXPECT_EQ(p.id, (std::vector<std::string>{"rs1", "rs2", "rs3", "rs4"}));
    EXPECT_EQ(p.pos, (std::vector<int>{100, 200, 300, 400}));
    EXPECT_EQ(p.a1, (std::vector<char>{'A', 'C', 'A', 'A'}));
    EXPECT_EQ(p.a2, (std::vector<char>{'G', 'G', 'T', 'G'}));
    EXPECT_EQ(row(p, 0), (std::vector<int>{0, 1, 2, 9}));
    EXPECT_EQ(row(p, 1), (std::vector<int>{2, 2, 1, 9}));
    EXPECT_DOUBLE_EQ(p.freq[0], 0.5);
    EXPECT_DOUBLE_EQ(p.freq[1], 5.0 / 6);
    EXPECT_DOUBLE_EQ(p.freq[2], 0.5);
    EXPECT_TRUE(std::isnan(p.freq[3]));
    if (mode == kDominant) {
      EXPECT_DOUBLE_EQ(p.mode_freq[0], 2.0 / 3);
      EXPECT_DOUBLE_EQ(p.mode_freq[2], 1.0);
    } else if (mode != kAdditive) {
      EXPECT_DOUBLE_EQ(p.mode_freq[0], 1.0 / 3);
      EXPECT_DOUBLE_EQ(p.mode_freq[1], 2.0 / 3);
    }
  }
}

TEST(Panel, ColumnCountMustMatchThePanelLine) {
  PanelData p;
  // 3 x 1 + 2 x 1 + 2 = 7 columns expected; one digit more or less stops the run.
  EXPECT_EQ(read_as_panel("rs1 100 A G 0 1 2 1 0 1 2\n", panel_model(1, 1, 2), p), "");
  EXPECT_EQ(p.ncol, 7);
  EXPECT_EQ(read_as_panel("rs1 100 A G 0 1 2 1 0 1 2 0\n", panel_model(1, 1, 2), p),
            "'PANEL' information does not match with 'external.dat'\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 0 1 2 1 0 1\n", panel_model(1, 1, 2), p),
            "'PANEL' information does not match with 'external.dat'\n");
  // Only the first line decides; an empty file has no columns.
  EXPECT_EQ(read_as_panel("", panel_model(0, 0, 0), p), "");
  EXPECT_EQ(p.nsnp, 0);
  EXPECT_EQ(read_as_panel("\n\n", panel_model(0, 0, 1), p), "'PANEL' information does not match with 'external.dat'\n");
}

TEST(Panel, MalformedLinesAreNamed) {
  const Model m = panel_model(1, 0, 0);
  PanelData p;
  EXPECT_EQ(read_as_panel("rs1 100 A G 012\nrs2 200 A G 01\n", m, p),
            "Error: Line 2 of 'external.dat' has 2 genotypes; 3 expected as on its first line.\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 012\n\nrs2 200 A G 0 1 2 2\n", m, p),
            "Error: Line 3 of 'external.dat' has 4 genotypes; 3 expected as on its first line.\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 012\nrs2 200 A G 0 1 10\n", m, p),
            "Error: Line 2 of 'external.dat' has 4 genotypes; 3 expected as on its first line.\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 0x2\n", m, p),
            "Error: Genotype 'x' in panel column 2 on line 1 of 'external.dat' is not 0, 1, 2 or 9 (missing).\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 0 1 5\n", m, p),
            "Error: Genotype '5' in panel column 3 on line 1 of 'external.dat' is not 0, 1, 2 or 9 (missing).\n");
  EXPECT_EQ(read_as_panel("rs1 1.5 A G 0 1 2\n", m, p),
            "Error: Position '1.5' on line 1 of 'external.dat' is not an integer.\n");
  EXPECT_EQ(read_as_panel("rs1 100 A G 012\nrs2\n", m, p), "Error: Line 2 of 'external.dat' has no position.\n");
}

TEST(Haplotypes, AllelesWithOrWithoutBlanksAndMalformedLines) {
  PanelData p;
  ASSERT_EQ(read_as_haplotypes("rs1 0 1 1 0\r\n\nrs2 1100", p), "");
  EXPECT_EQ(p.nhap, 4);
  EXPECT_EQ(p.nhap_snp, 2);
  EXPECT_EQ(p.hap_id, (std::vector<std::string>{"rs1", "rs2"}));
  EXPECT_EQ(std::vector<int>(p.haplotypes(1), p.haplotypes(1) + 4), (std::vector<int>{1, 1, 0, 0}));
  EXPECT_EQ(read_as_haplotypes("rs1 0110\nrs2 011\n", p),
            "Error: Line 2 of 'haplotype.dat' has 3 alleles; 4 expected as on its first line.\n");
  EXPECT_EQ(read_as_haplotypes("rs1 0110\nrs2 01102\n", p),
            "Error: Line 2 of 'haplotype.dat' has 5 alleles; 4 expected as on its first line.\n");
  EXPECT_EQ(read_as_haplotypes("rs1 0120\n", p),
            "Error: Allele '2' of haplotype 3 on line 1 of 'haplotype.dat' is not 0 or 1.\n");
}
