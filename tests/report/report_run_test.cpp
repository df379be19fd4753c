// kestrova-report on real runs: two simulated studies analysed as chromosomes 10
// and 2 plus a run with a failed line, gathered into one sorted table with the
// plots and the summary; the two ways of naming runs agree; every user error is
// an "Error: ..." line with exit status 1.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include <htslib/bgzf.h>

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
      // a has its diagnostics beside its result files; b has none.
      std::vector<std::string> args = {"-ofile", "run"};
      if (std::string(name) == "a") args.insert(args.end(), {"-diag", "run.diag"});
      ASSERT_EQ(run_in(dir_->path() / name, KESTROVA_BIN, args).status, 0);
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

// A GWAS-SSF table's faults by the format's rules: column order, the type and range
// of every value, #NA only where a value may be missing, rows sorted by
// chromosome and position. Empty when the table keeps every rule.
std::string ssf_faults(const std::vector<std::vector<std::string>>& t) {
  const std::vector<std::string> heads = {"chromosome", "base_pair_location", "effect_allele", "other_allele", "beta",
                                          "standard_error", "effect_allele_frequency", "p_value",
                                          "neg_log_10_p_value", "variant_id", "rsid", "info", "n"};
  if (t.empty() || t[0].size() < heads.size() || !std::equal(heads.begin(), heads.end(), t[0].begin()))
    return "header";
  auto number = [](const std::string& v, double lo, double hi) {
    char* end = nullptr;
    const double x = std::strtod(v.c_str(), &end);
    return !v.empty() && *end == '\0' && x >= lo && x <= hi;
  };
  auto whole = [](const std::string& v) { return !v.empty() && v.find_first_not_of("0123456789") == std::string::npos; };
  auto bases = [](const std::string& v) { return !v.empty() && v.find_first_not_of("ACGT") == std::string::npos; };
  for (std::size_t i = 1; i < t.size(); i++) {
    const auto& r = t[i];
    const std::string at = "row " + std::to_string(i) + ": ";
    if (r.size() != t[0].size()) return at + "field count";
    if (!whole(r[0]) || std::stoi(r[0]) < 1 || std::stoi(r[0]) > 25) return at + "chromosome";
    if (!whole(r[1])) return at + "base_pair_location";
    if (!bases(r[2]) || !bases(r[3])) return at + "alleles";
    for (int k : {4, 5, 7, 8})
      if (r[k] != "#NA" && !number(r[k], k == 4 ? -1e300 : 0.0, k == 7 ? 1.0 : 1e300)) return at + heads[k];
    if (!number(r[6], 0.0, 1.0)) return at + "effect_allele_frequency";
    if ((r[7] == "#NA") != (r[8] == "#NA") || (r[4] == "#NA") != (r[7] == "#NA")) return at + "missing statistics";
    if (r[9] != "#NA" && r[9] != r[0] + "_" + r[1] + "_" + r[3] + "_" + r[2]) return at + "variant_id";
    if (r[10] != "#NA" && (r[10].rfind("rs", 0) != 0 || !whole(r[10].substr(2)))) return at + "rsid";
    if (r[11] != "#NA" && !number(r[11], 0.0, 1.0)) return at + "info";
    if (r[12] != "#NA" && !whole(r[12])) return at + "n";
    if (i > 1 && std::make_pair(std::stoi(t[i - 1][0]), std::stoll(t[i - 1][1])) > std::make_pair(std::stoi(r[0]), std::stoll(r[1])))
      return at + "order";
  }
  return "";
}

std::string gunzip(const std::filesystem::path& path) {
  BGZF* fp = bgzf_open(path.c_str(), "r");
  if (!fp) return "";
  std::string text;
  char buffer[65536];
  for (ssize_t got; (got = bgzf_read(fp, buffer, sizeof buffer)) > 0;) text.append(buffer, static_cast<std::size_t>(got));
  bgzf_close(fp);
  return text;
}

}  // namespace

TEST_F(ReportRun, SummaryStatisticsTablePlotsAndSummary) {
  const ScratchDir& dir = *dir_;
  const RunResult r = report_in(dir, {"X:c/run", "--out", "gw", "--build", "GRCh37", "--chr", "10", "a/run", "--chr",
                                      "2", "b/run_", "--data", "b/run=a"});
  ASSERT_EQ(r.status, 0) << r.err;
  // Said once: b and c have no diagnostics.
  EXPECT_EQ(r.err.find("Warning: no diagnostics file c/run.diag, b/run.diag "), 0u) << r.err;
  const auto table = tsv(gunzip(dir.path() / "gw_G.tsv.gz"));
  EXPECT_EQ(ssf_faults(table), "");
  const auto a = report::read_result_file((dir.path() / "a/run_G.out").string(), "10");
  const auto b = report::read_result_file((dir.path() / "b/run_G.out").string(), "2");
  ASSERT_EQ(table.size(), 1 + a.size() + b.size() + 1);
  EXPECT_EQ(table[0][13], "z");
  // Chromosome 2 before 10 before X (23); each SNP keeps the result file's allele
  // order, frequency, sign and digits, the counted allele (minor or major) first.
  std::vector<double> z;
  std::size_t failed = 1, minor_first = 0, major_first = 0;
  for (std::size_t i = 1; i < table.size(); i++) {
    const std::string expect_chr = i <= b.size() ? "2" : i <= b.size() + a.size() ? "10" : "23";
    ASSERT_EQ(table[i][0], expect_chr) << i;
    const report::ResultRow& src = i <= b.size() ? b[i - 1] : a[i <= b.size() + a.size() ? i - 1 - b.size() : 0];
    EXPECT_EQ(table[i][1], std::to_string(src.pos));
    EXPECT_EQ(table[i][2] + table[i][3], std::string(1, src.effect) + src.other);
    EXPECT_EQ(table[i][6], src.freq);
    if (expect_chr == "23") continue;
    (std::stod(src.freq) < 0.5 ? minor_first : major_first)++;
    EXPECT_EQ(table[i][4], src.analysed ? src.est : "#NA");
    EXPECT_EQ(table[i][7], src.analysed ? src.p : "#NA");
    EXPECT_EQ(table[i][10], src.id);
    EXPECT_EQ(table[i][14], src.typed ? src.share : "0");
    // n and info from a's diagnostics; b has none.
    EXPECT_EQ(table[i][12] == "#NA", expect_chr == "2");
    EXPECT_EQ(table[i][11] == "#NA", expect_chr == "2");
    if (expect_chr == "10") {
      EXPECT_TRUE(std::stoi(table[i][12]) > 250 && std::stoi(table[i][12]) <= 300) << table[i][12];
    }
    if (src.analysed) z.push_back(src.zval);
    failed += !src.analysed;
  }
  EXPECT_GT(minor_first, 0u);
  EXPECT_GT(major_first, 0u);
  const auto& dashes = table.back();  // the line of dashes keeps its SNP
  EXPECT_EQ(std::vector<std::string>(dashes.begin() + 4, dashes.begin() + 6), (std::vector<std::string>{"#NA", "#NA"}));
  // tabix reads the region back; the metadata names the file's md5 sum and the study.
  if (std::system("command -v tabix >/dev/null 2>&1") == 0) {
    const RunResult region = run_in(dir.path(), "/bin/sh", {"-c", "tabix gw_G.tsv.gz 10:" + std::to_string(a[2].pos) + "-" +
                                                                     std::to_string(a[4].pos) + " | cut -f2"});
    EXPECT_EQ(region.out, std::to_string(a[2].pos) + "\n" + std::to_string(a[3].pos) + "\n" + std::to_string(a[4].pos) + "\n");
  }
  const std::string meta = dir.read("gw_G.tsv.gz-meta.yaml");
  const RunResult md5 = run_in(dir.path(), "/bin/sh", {"-c", "md5sum gw_G.tsv.gz | cut -c1-32"});
  EXPECT_NE(meta.find("data_file_md5sum: " + md5.out), std::string::npos) << meta;
  for (const char* line : {"genome_assembly: GRCh37\n", "design: case-control\n", "case_count: 150\n", "sample_size: 300\n"})
    EXPECT_NE(meta.find(line), std::string::npos) << line;
  // Lambda over the analysed lines only, as the summary prints it.
  char expect[64];
  std::snprintf(expect, sizeof expect, "lambda (genomic control) %.4f", report::lambda_gc(z));
  EXPECT_NE(dir.read("gw_summary.txt").find(expect), std::string::npos) << dir.read("gw_summary.txt");
  EXPECT_NE(r.out.find(", " + std::to_string(failed) + " not analysed"), std::string::npos);
  // Plots: one mark per analysed SNP; no temporary file left.
  const std::string manhattan = dir.read("gw_G_manhattan.svg");
  std::size_t marks = 0;
  for (std::size_t at = manhattan.find("<circle"); at != std::string::npos; at = manhattan.find("<circle", at + 1)) marks++;
  EXPECT_EQ(marks, z.size());
  for (const auto& e : std::filesystem::directory_iterator(dir.path())) EXPECT_NE(e.path().extension(), ".part");

  // The same runs named CHR:PREFIX, in another order, give the same table.
  const RunResult again = report_in(dir, {"--no-png", "--out", "again", "X:c/run", "2:b/run", "10:a/run"});
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(gunzip(dir.path() / "again_G.tsv.gz"), gunzip(dir.path() / "gw_G.tsv.gz"));
  EXPECT_FALSE(dir.exists("again_G_qq.png"));
}

// The HTML page holds every plot inline and nothing from elsewhere, and a real
// browser renders it.
TEST_F(ReportRun, OneSelfContainedHtmlPage) {
  const ScratchDir& dir = *dir_;
  const RunResult r = report_in(dir, {"--no-png", "--out", "page", "--top-loci", "1", "10:a/run"});
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string html = dir.read("page_report.html");
  for (const char* part : {"Run summary", "Cases / controls", "Analysis path", "Top signals", "Regional plots"})
    EXPECT_NE(html.find(part), std::string::npos) << part;
  std::size_t svgs = 0;
  for (std::size_t at = html.find("<svg"); at != std::string::npos; at = html.find("<svg", at + 1)) svgs++;
  EXPECT_EQ(svgs, 3u);  // Manhattan, QQ, one region
  for (const char* outside : {"<script", "src=", "href=", "http://", "https://", "@import"})
    EXPECT_EQ(html.find(outside), std::string::npos) << outside;
  if (std::system("command -v chromium >/dev/null 2>&1") != 0) GTEST_SKIP() << "chromium not installed";
  const RunResult shot = run_in(dir.path(), "/bin/sh",
                                {"-c", "chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run "
                                       "--disable-background-networking --disable-component-update --disable-sync "
                                       "--user-data-dir=\"$PWD/chromium-profile\" --window-size=1100,2000 "
                                       "--screenshot=\"$PWD/page.png\" \"file://$PWD/page_report.html\""});
  ASSERT_TRUE(dir.exists("page.png")) << shot.err;
  const std::string png = dir.read("page.png");
  EXPECT_EQ(png.substr(1, 3), "PNG");
  EXPECT_GT(png.size(), 20000u);  // a rendered page, not a blank one
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
  EXPECT_EQ(fails(dir, {"--out", "absent/x", "1:a/run"}).substr(0, 30), "Error: absent/x_G.tsv.gz: cann");
  EXPECT_EQ(fails(dir, {"--data", "z/run=a", "1:a/run"}), "Error: --data 'z/run=a': no run has the prefix 'z/run'");
  EXPECT_EQ(fails(dir, {"--regions", "10:5-1", "1:a/run"}), "Error: --regions '10:5-1': expected CHR:FROM-TO");
  EXPECT_EQ(fails(dir, {"--build", "hg19", "1:a/run"}),
            "Error: --build 'hg19': expected GRCh38, GRCh37, NCBI36, NCBI35, NCBI34 or NR");
  std::filesystem::create_directory(dir.path() / "d");
  const std::string bad = dir.read("a/run_G.out") + "1.00  rsBad  12x  C/T  -  0.1  0.1  0.1  0.1  0.9\n";
  dir.write("d/run_G.out", bad);
  const auto lines = std::count(bad.begin(), bad.end(), '\n');
  EXPECT_EQ(fails(dir, {"1:a/run", "2:d/run"}),
            "Error: d/run_G.out line " + std::to_string(lines) + ": position '12x' is not a whole number");
}
