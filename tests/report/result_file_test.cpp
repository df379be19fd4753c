// Reading result files: the four line forms, Windows line ends, and an
// "Error: <file> line N: ..." for every kind of bad input.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "result_file.h"
#include "support/process.h"

using namespace report;

namespace {

const std::string kHead =
    "********************************************************\n"
    "*          ANALYSIS OF SNP-DISEASE ASSOCIATION         *\n"
    "********************************************************\n\n"
    "Mode of Inheritance: additive\n\n\n\n"
    "Typd       SNP-id       Position  1/0    MD     Freq   Estimate   StdErr    Z-Stat    p-Value\n"
    "----  ---------------  ---------  ---  ------  ------  --------  -------  ---------  ---------\n";
// Lines 11 to 15.
const std::string kLines =
    "1.00  rs1                1000000  C/T     -    0.1555    0.0248   0.1285     0.1927  8.47e-01\n"
    "  no  rs2                1005466  T/C  0.5811  0.6176   -0.0523   0.1186    -0.4409  6.59e-01\n"
    "0.95  rs3                1008832  A/G     -    0.3330      -        -         -          -    \n"
    "  no  rs4                1009000  A/G  0.0812  0.3330      -        -         -          -    \n"
    "1.00  rs5                1010000  A/G     -    0.3330    9.9000   0.2000    49.5000  0.00e+00\n";

// Reads text written as a result file (none when absent); the error text, or ""
// when it reads.
std::string fails(const std::optional<std::string>& text) {
  ScratchDir dir;
  if (text) dir.write("r_G.out", *text);
  try {
    read_result_file((dir.path() / "r_G.out").string(), "1");
  } catch (const ReportError& e) {
    const std::string what = e.what();
    const std::size_t at = what.find("r_G.out");
    return at == std::string::npos ? what : "Error: " + what.substr(at);
  }
  return "";
}

}  // namespace

TEST(ReportResultFile, ReadsEveryLineForm) {
  ScratchDir dir;
  std::string crlf;
  for (char c : kHead + kLines) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  crlf.pop_back();
  crlf.pop_back();  // no final line end
  dir.write("r_G.out", crlf);
  const std::vector<ResultRow> rows = read_result_file((dir.path() / "r_G.out").string(), "7");
  ASSERT_EQ(rows.size(), 5u);
  EXPECT_EQ(rows[0].chr, "7");
  EXPECT_TRUE(rows[0].typed);
  EXPECT_EQ(rows[0].share, "1.00");
  EXPECT_EQ(rows[0].est, "0.0248");
  EXPECT_DOUBLE_EQ(rows[0].zval, 0.1927);
  EXPECT_FALSE(rows[1].typed);
  EXPECT_EQ(rows[1].md, "0.5811");
  EXPECT_EQ(rows[1].pos, 1005466);
  EXPECT_FALSE(rows[2].analysed);
  EXPECT_FALSE(rows[2].usable());
  EXPECT_TRUE(std::isnan(rows[2].minus_log10p));
  EXPECT_FALSE(rows[3].analysed);
  EXPECT_FALSE(rows[3].typed);
  // p printed as 0, -log10 p still exact from Z.
  EXPECT_EQ(rows[4].p, "0.00e+00");
  EXPECT_GT(rows[4].minus_log10p, 500.0);
}

TEST(ReportResultFile, NonFiniteStatisticsAreKeptButNotUsable) {
  const std::string line = "1.00  rs9                1000000  C/T     -    0.1555    0.0248   0.0000        inf  0.00e+00\n";
  ScratchDir dir;
  dir.write("r_G.out", kHead + line);
  const std::vector<ResultRow> rows = read_result_file((dir.path() / "r_G.out").string(), "1");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_TRUE(rows[0].analysed);
  EXPECT_FALSE(rows[0].usable());
  EXPECT_EQ(fails(kHead + "1.00  rs9  1000000  C/T  -  0.1555  nan  -nan  nan  nan\n"), "");
}

TEST(ReportResultFile, BadInputStopsWithFileAndLine) {
  EXPECT_EQ(fails(std::nullopt), "Error: r_G.out: cannot be read (No such file or directory)");
  EXPECT_EQ(fails(""), "Error: r_G.out: not a Kestrova result file (no column heads found)");
  EXPECT_EQ(fails("CHR SNP POS\n1 rs1 100\n"), "Error: r_G.out: not a Kestrova result file (no column heads found)");
  const std::string head_only = kHead.substr(0, kHead.find("----"));
  EXPECT_EQ(fails(head_only), "Error: r_G.out line 9: the column heads are not followed by their rule of dashes");
  EXPECT_EQ(fails(head_only + "1.00 rs1\n"),
            "Error: r_G.out line 10: the column heads are not followed by their rule of dashes");
  const struct {
    const char* line;
    const char* error;
  } cases[] = {
      {"1.00  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.1927\n", "expected 10 fields, found 9"},
      {"1.00  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.1927  8.47e-01 x\n", "expected 10 fields, found 11"},
      {"1.50  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.1927  8.47e-01\n",
       "typed share '1.50' is not a number from 0 to 1"},
      {"yes  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.1927  8.47e-01\n",
       "typed share 'yes' is not a number from 0 to 1"},
      {"1.00  rs1  1000000  C/T  0.5  0.1555  0.0248  0.1285  0.1927  8.47e-01\n",
       "a typed SNP has the MD value '0.5' (expected '-')"},
      {"  no  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.1927  8.47e-01\n", "MD value '-' is not a number"},
      {"1.00  rs1  -1000  C/T  -  0.1555  0.0248  0.1285  0.1927  8.47e-01\n",
       "position '-1000' is not a whole number"},
      {"1.00  rs1  1000000  CT  -  0.1555  0.0248  0.1285  0.1927  8.47e-01\n",
       "alleles 'CT' are not of the form A/B"},
      {"1.00  rs1  1000000  C/T  -  high  0.0248  0.1285  0.1927  8.47e-01\n", "frequency 'high' is not a number"},
      {"1.00  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  -  8.47e-01\n",
       "estimate, standard error, Z and p must be all numbers or all dashes"},
      {"1.00  rs1  1000000  C/T  -  0.1555  0.0248  0.1285  0.19x  8.47e-01\n", "Z statistic '0.19x' is not a number"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(fails(kHead + kLines + c.line), std::string("Error: r_G.out line 16: ") + c.error) << c.line;
  EXPECT_EQ(fails(kHead + kLines + std::string("1.00  rs1\0  1000000", 20) + "\n"),
            "Error: r_G.out line 16: expected 10 fields, found 3");
}
