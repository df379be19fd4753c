// kestrova-report on real runs: two simulated studies analysed as chromosomes 10
// and 2 plus a run with a failed line, gathered into one sorted table with the
// plots and the summary; the two ways of naming runs agree; every user error is
// an "Error: ..." line with exit status 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "report.h"
#include "stats.h"
#include "support/process.h"

namespace {

RunResult report_in(const ScratchDir& dir, const std::vector<std::string>& args) {
  return run_in(dir.path(), KESTROVA_REPORT, args);
}

// Runs the report and expects it to stop; returns its error line.
std::string fails(const ScratchDir& dir, const std::vector<std::string>& args) {
  const RunResult r = report_in(dir, args);
  EXPECT_EQ(r.status, 1) << r.out;
  const std::size_t at = r.err.find("Error: ");
  return at == std::string::npos ? r.err : r.err.substr(at, r.err.find('\n', at) - at);
}

std::vector<std::vector<std::string>> tsv(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    std::vector<std::string> f;
    std::istringstream fields(line);
    for (std::string x; std::getline(fields, x, '\t');) f.push_back(x);
    rows.push_back(f);
  }
  return rows;
}

// Two case-control runs (folders a and b) and a copy of a's result file with one line of dashes (c).
class ReportRun : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new ScratchDir;
    for (const auto& [name, seed] : {std::pair{"a", "41"}, std::pair{"b", "42"}}) {
      ASSERT_EQ(run_in(dir_->path(), KESTROVA_SIM,
                       {"--out", name, "--seed", seed, "--cases", "150", "--controls", "150", "--snps", "24",
                        "--effect", "1.2"})
                    .status,
                0);
      ASSERT_EQ(run_in(dir_->path() / name, KESTROVA_BIN, {"-ofile", "run"}).status, 0);
    }
    std::filesystem::create_directory(dir_->path() / "c");
    std::string text = dir_->read("a/run_G.out");
    const std::size_t rule = text.find("\n----");
    const std::size_t first = text.find('\n', rule + 1) + 1;
    const std::size_t eol = text.find('\n', first);
    // Its first line, keeping the SNP's six fields, as a line of dashes.
    std::istringstream fields(text.substr(first, eol - first));
    std::string line, f;
    for (int k = 0; k < 6 && fields >> f; k++) line += f + "  ";
    line += "    -        -         -          -    ";
    dir_->write("c/run_G.out", text.substr(0, first) + line + "\n");
  }
  static void TearDownTestSuite() {
    delete dir_;
    dir_ = nullptr;
  }
  static ScratchDir* dir_;
};

ScratchDir* ReportRun::dir_ = nullptr;

}  // namespace

TEST_F(ReportRun, OneSortedTableWithPlotsAndSummary) {
  const ScratchDir& dir = *dir_;
  const RunResult r = report_in(dir, {"X:c/run", "--out", "gw", "--chr", "10", "a/run", "--chr", "2", "b/run_"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto table = tsv(dir.read("gw_G.tsv"));
  const auto a = report::read_result_file((dir.path() / "a/run_G.out").string(), "10");
  const auto b = report::read_result_file((dir.path() / "b/run_G.out").string(), "2");
  ASSERT_EQ(table.size(), 1 + a.size() + b.size() + 1);
  EXPECT_EQ(table[0], (std::vector<std::string>{"CHR", "SNP", "POS", "TYPED", "MD", "FREQ", "BETA", "SE", "Z", "P",
                                                "NEG_LOG10_P"}));
  // Chromosome 2 before 10 before X, positions ascending within each.
  std::vector<double> z;
  std::size_t failed = 1;  // the line of dashes in c
  for (std::size_t i = 1; i < table.size(); i++) {
    ASSERT_EQ(table[i].size(), 11u);
    const std::string expect_chr = i <= b.size() ? "2" : i <= b.size() + a.size() ? "10" : "X";
    EXPECT_EQ(table[i][0], expect_chr) << i;
    if (i > 1 && table[i][0] == table[i - 1][0]) {
      EXPECT_LE(std::stoll(table[i - 1][2]), std::stoll(table[i][2]));
    }
    const report::ResultRow& src = i <= b.size() ? b[i - 1] : a[i <= b.size() + a.size() ? i - 1 - b.size() : 0];
    if (expect_chr != "X") {
      EXPECT_EQ(table[i][1], src.id);
      EXPECT_EQ(table[i][6], src.analysed ? src.est : "NA");
      EXPECT_EQ(table[i][9], src.analysed ? src.p : "NA");
      EXPECT_EQ(table[i][3], src.typed ? src.share : "untyped");
      EXPECT_EQ(table[i][4], src.typed ? "NA" : src.md);
      if (src.analysed) z.push_back(src.zval);
      failed += !src.analysed;
    }
  }
  // The line of dashes keeps its SNP with NA fields.
  const auto& dashes = table.back();
  EXPECT_EQ(dashes[1], a[0].id);
  EXPECT_EQ(std::vector<std::string>(dashes.begin() + 6, dashes.end()),
            (std::vector<std::string>{"NA", "NA", "NA", "NA", "NA"}));
  // Lambda over the analysed lines only, as the summary prints it.
  char expect[64];
  std::snprintf(expect, sizeof expect, "lambda (genomic control) %.4f", report::lambda_gc(z));
  EXPECT_NE(dir.read("gw_summary.txt").find(expect), std::string::npos) << dir.read("gw_summary.txt");
  EXPECT_NE(r.out.find(expect), std::string::npos);
  EXPECT_NE(r.out.find(", " + std::to_string(failed) + " not analysed"), std::string::npos);
  // Plots: one mark per analysed SNP; no temporary file left.
  const std::string manhattan = dir.read("gw_G_manhattan.svg");
  std::size_t marks = 0;
  for (std::size_t at = manhattan.find("<circle"); at != std::string::npos; at = manhattan.find("<circle", at + 1)) marks++;
  EXPECT_EQ(marks, z.size());
  EXPECT_TRUE(dir.exists("gw_G_qq.svg"));
  for (const auto& e : std::filesystem::directory_iterator(dir.path())) EXPECT_NE(e.path().extension(), ".part");
  if (std::system("command -v rsvg-convert >/dev/null 2>&1") == 0) {
    EXPECT_EQ(dir.read("gw_G_qq.png").substr(1, 3), "PNG");
    EXPECT_EQ(dir.read("gw_G_manhattan.png").substr(1, 3), "PNG");
  }

  // The same runs named CHR:PREFIX, in another order, give the same table.
  const RunResult again = report_in(dir, {"--no-png", "--out", "again", "X:c/run", "2:b/run", "10:a/run"});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(dir.read("again_G.tsv"), dir.read("gw_G.tsv"));
  EXPECT_FALSE(dir.exists("again_G_qq.png"));
}

TEST_F(ReportRun, UserErrors) {
  const ScratchDir& dir = *dir_;
  EXPECT_EQ(report_in(dir, {}).status, 1);
  const RunResult help = report_in(dir, {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("Usage: kestrova-report"), std::string::npos);
  EXPECT_EQ(fails(dir, {"a/run"}), "Error: run 'a/run' has no chromosome: write CHR:PREFIX or --chr CHR PREFIX");
  EXPECT_EQ(fails(dir, {"--chr"}), "Error: --chr needs a value");
  EXPECT_EQ(fails(dir, {"--out", "x"}), "Error: no run given (write CHR:PREFIX or --chr CHR PREFIX)");
  EXPECT_EQ(fails(dir, {"--frobnicate", "1:a/run"}), "Error: unknown option '--frobnicate' (see --help)");
  EXPECT_EQ(fails(dir, {"--top", "ten", "1:a/run"}), "Error: --top: 'ten' is not a whole number from 0 to 100000");
  EXPECT_EQ(fails(dir, {"1:a/nothing"}), "Error: no result files 'a/nothing_*.out' found");
  EXPECT_EQ(fails(dir, {"1:absent/run"}).substr(0, 17), "Error: absent: ca");
  EXPECT_EQ(fails(dir, {"--term", "AGE", "1:a/run"}), "Error: run 'a/run' has no result file for the term 'AGE'");
  EXPECT_EQ(fails(dir, {"--out", "absent/x", "1:a/run"}).substr(0, 30), "Error: absent/x_G.tsv: cannot ");
  std::filesystem::create_directory(dir.path() / "d");
  const std::string bad = dir.read("a/run_G.out") + "1.00  rsBad  12x  C/T  -  0.1  0.1  0.1  0.1  0.9\n";
  dir.write("d/run_G.out", bad);
  const auto lines = std::count(bad.begin(), bad.end(), '\n');
  EXPECT_EQ(fails(dir, {"1:a/run", "2:d/run"}),
            "Error: d/run_G.out line " + std::to_string(lines) + ": position '12x' is not a whole number");
}
