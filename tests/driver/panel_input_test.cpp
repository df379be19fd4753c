// The external panel and phased haplotype files: the column count of the first
// line, digits with or without blanks, and frequencies over all panel columns.
#include <gtest/gtest.h>

#include <cmath>

#include "driver/panel_input.h"
#include "support/process.h"

TEST(Panel, DigitsWithOrWithoutBlanksAndFrequenciesOverAllColumns) {
  ScratchDir dir;
  dir.write("external.dat", "rs1 100 A G 0 1 2 9\r\n\nrs2\t200 C\t\tG 2219\nrs3 300 AT 1 1 1 1\nrs4 400 A G 9999");
  dir.write("haplotype.dat", "rs1 0 1 1 0\r\n\nrs2 1100");
  const std::string efile = (dir.path() / "external.dat").string();
  Model model;
  model.nTR = 1, model.nUN = 1;  // four columns
  for (int mode : {kRecessive, kDominant}) {
    model.mode = mode;
    PanelData p;
    ASSERT_EQ(read_panel(efile, model, p), "");
    ASSERT_EQ(p.nsnp, 4);
    ASSERT_EQ(p.ncol, 4);
    EXPECT_EQ(p.pos, (std::vector<int>{100, 200, 300, 400}));
    EXPECT_EQ(std::string(p.a1.begin(), p.a1.end()) + std::string(p.a2.begin(), p.a2.end()), "ACAAGGTG");
    EXPECT_EQ(std::vector<int>(p.geno.begin(), p.geno.begin() + 8), (std::vector<int>{0, 1, 2, 9, 2, 2, 1, 9}));
    EXPECT_DOUBLE_EQ(p.freq[0], 0.5);
    EXPECT_DOUBLE_EQ(p.freq[1], 5.0 / 6);
    EXPECT_TRUE(std::isnan(p.freq[3]));
    EXPECT_DOUBLE_EQ(p.mode_freq[0], mode == kDominant ? 2.0 / 3 : 1.0 / 3);
    EXPECT_DOUBLE_EQ(p.mode_freq[2], mode == kDominant ? 1.0 : 0.0);
    // One column more than PANEL says stops the run with the message as it stands.
    model.nUN = 0;
    EXPECT_EQ(read_panel(efile, model, p), "'PANEL' information does not match with '" + efile + "'\n");
    model.nUN = 1;
  }
  PanelData p;
  ASSERT_EQ(read_haplotypes((dir.path() / "haplotype.dat").string(), p), "");
  EXPECT_EQ(p.nhap, 4);
  EXPECT_EQ(p.hap_id, (std::vector<std::string>{"rs1", "rs2"}));
  EXPECT_EQ(p.hap, (std::vector<std::uint8_t>{0, 1, 1, 0, 1, 1, 0, 0}));
}
