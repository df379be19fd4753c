// Result files: the header block with and without the panel, the column heads,
// and the four kinds of result line, character for character.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "driver/results.h"
#include "support/process.h"

namespace {

SnpLine typed_snp() {
  SnpLine s;
  s.typed = true;
  s.typed_share = 0.95;
  s.id = "rs12620";
  s.pos = 1143701;
  s.a1 = 'T';
  s.a2 = 'C';
  s.freq = 0.8219;
  return s;
}

std::string header_of(const ResultHeader& h) {
  ScratchDir dir;
  std::string name = (dir.path() / "r_G.out").string();
  {
    ResultFiles files;
    EXPECT_EQ(files.open({name}), "");
    files.write_header(h);
    EXPECT_EQ(files.close(), "");
  }
  return slurp(name);
}

const char* const kHeads =
    "Typd       SNP-id       Position  1/0    MD     Freq   Estimate   StdErr    Z-Stat    p-Value\n"
    "----  ---------------  ---------  ---  ------  ------  --------  -------  ---------  ---------\n";

}  // namespace

// The whole header block, with and without the panel, is compared byte for byte
// by the end-to-end tests; every mode of inheritance is named here.
TEST(ResultFiles, HeaderBlockNamesTheModeOfInheritance) {
  ResultHeader h;
  h.n = 600;
  h.study_snps = 27;
  const char* names[] = {"additive", "recessive", "dominant", "codominant"};
  for (h.mode = 1; h.mode <= 4; h.mode++) {
    const std::string text = header_of(h), tail = std::string("Mode of Inheritance: ") + names[h.mode - 1];
    EXPECT_EQ(text.substr(std::min(text.find("Mode of"), text.size())), tail + "\n\n\n\n" + kHeads);
  }
}

TEST(ResultFiles, TypedAndUntypedLinesAnalysedOrNot) {
  SnpLine s = typed_snp();
  EXPECT_EQ(result_line(s, true, 0.3502, 0.1536),
            "0.95  rs12620            1143701  T/C     -    0.8219    0.3502   0.1536     2.2799  2.26e-02\n");
  EXPECT_EQ(result_line(s, false, 0.0, 0.0),
            "0.95  rs12620            1143701  T/C     -    0.8219      -        -         -          -    \n");
  s.typed = false;
  s.id = "rs12479";
  s.pos = 1093599;
  s.md = 0.9597;
  s.freq = 0.4118;
  EXPECT_EQ(result_line(s, true, 0.7341, 0.1103),
            "  no  rs12479            1093599  T/C  0.9597  0.4118    0.7341   0.1103     6.6555  2.82e-11\n");
  EXPECT_EQ(result_line(s, false, 0.0, 0.0),
            "  no  rs12479            1093599  T/C  0.9597  0.4118      -        -         -          -    \n");
}

TEST(ResultFiles, UnusableStandardErrorGivesTheNotAnalysedLine) {
  const std::string dashes = "      -        -         -          -    \n";
  SnpLine s = typed_snp();
  for (double se : {0.0, -1.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
    std::string line = result_line(s, true, 0.5, se);
    EXPECT_EQ(line.substr(line.size() - dashes.size()), dashes) << se;
  }
  std::string huge = result_line(s, true, 1e300, 1e-300);  // z overflows
  EXPECT_EQ(huge.substr(huge.size() - dashes.size()), dashes);
}

// Each line reaches the file as soon as it is written (nothing waits in a buffer for
// a stop to lose), and a write the system refuses is reported when the files close.
TEST(ResultFiles, LinesAreInTheFileAtOnceAndRefusedWritesReported) {
  ScratchDir dir;
  const std::string name = (dir.path() / "r_G.out").string();
  ResultFiles files;
  ASSERT_EQ(files.open({name, "/dev/full"}), "");
  ResultHeader h;
  files.write_header(h);
  const std::size_t header = slurp(name).size();
  EXPECT_GT(header, 0u);
  const double est[1] = {0.3502}, se[1] = {0.1536};
  files.write_snp(typed_snp(), true, est, se, {0, 0});
  EXPECT_EQ(slurp(name).substr(header), result_line(typed_snp(), true, 0.3502, 0.1536));
  EXPECT_EQ(files.close(), "Error: Result file '/dev/full' could not be written in full.\n");
}
