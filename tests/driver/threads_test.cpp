// Windows analysed side by side and runs split by position: the result files,
// the -diag file and the run log are byte-identical at any thread count, and the
// lines (and diag rows) of adjacent position ranges, concatenated, are the whole
// run's. The -diag file leaves results and log as they are without it, has one
// row per result line, and a reason exactly on the dashed lines. Simulated studies
// cover every design, each analysis class (DEPENDENT covariate, independent
// covariates, G only), with and without the panel, and a two-valued
// cross-sectional trait coded 0/2, whose recoding makes the order of the SNPs matter.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

namespace {

struct Study {
  std::string name;
  std::vector<std::string> sim;  // simulator options
  std::vector<std::string> run;  // program options
  std::string analysis;          // the haplotype analysis the diag rows name
  bool trait_0_2 = false;        // rewrite a 0/1 trait as 0/2
};

const std::vector<Study>& studies() {
  static const std::vector<Study> all = {
      {"case-control, DEPENDENT covariate, panel",
       {"--seed", "71", "--cases", "150", "--controls", "150", "--snps", "24", "--categorical", "1", "--dependent"},
       {},
       "case-control retrospective likelihood with gene-environment dependence"},
      {"case-control, independent covariate, no panel",
       {"--seed", "72", "--cases", "150", "--controls", "150", "--snps", "24", "--covariates", "1"},
       {"-ne"},
       "case-control profile likelihood under independence"},
      {"cohort, G only, panel",
       {"--seed", "73", "--design", "cohort", "--subjects", "300", "--snps", "24"},
       {},
       "cohort proportional hazards without dependence"},
      {"cohort, DEPENDENT covariate, no panel",
       {"--seed", "74", "--design", "cohort", "--subjects", "300", "--snps", "24", "--categorical", "1",
        "--dependent"},
       {"-ne"},
       "cohort proportional hazards with dependence"},
      {"cross-sectional, independent covariate, panel, 3 tags",
       {"--seed", "75", "--design", "cross-sectional", "--subjects", "300", "--snps", "24", "--covariates", "1"},
       {"-tag", "3"},
       "cross-sectional normal regression without dependence"},
      {"cross-sectional, G only, no panel",
       {"--seed", "76", "--design", "cross-sectional", "--subjects", "300", "--snps", "24"},
       {"-ne"},
       "cross-sectional normal regression without dependence"},
      {"cross-sectional 0/2 trait, DEPENDENT covariate, panel",
       {"--seed", "77", "--design", "cross-sectional", "--trait", "binary", "--subjects", "300", "--snps", "24",
        "--categorical", "1", "--dependent"},
       {},
       "cross-sectional logistic regression with dependence",
       true},
      {"cross-sectional 0/2 trait, G only, no panel",
       {"--seed", "78", "--design", "cross-sectional", "--trait", "binary", "--subjects", "300", "--snps", "24"},
       {"-ne"},
       "cross-sectional logistic regression without dependence",
       true},
  };
  return all;
}

void simulate(const ScratchDir& dir, const Study& s) {
  ::simulate(dir, s.sim);
  if (!s.trait_0_2) return;
  std::istringstream in(dir.read("phenotype.dat"));
  std::string line, out;
  std::getline(in, line);
  out = line + "\n";
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '1') line[0] = '2';
    out += line + "\n";
  }
  dir.write("phenotype.dat", out);
}

RunResult run(const ScratchDir& dir, const Study& s, const std::vector<std::string>& extra) {
  return run_kestrova(dir, with(s.run, extra));
}

std::string header_of(const std::string& file) { return file.substr(0, file.size() - result_lines(file).size()); }

std::vector<std::string> split(const std::string& text, char sep) {
  std::vector<std::string> out;
  std::istringstream in(text);
  for (std::string item; std::getline(in, item, sep);) out.push_back(item);
  return out;
}

// The position column of every result line.
std::vector<long> positions(const std::string& lines) {
  std::vector<long> out;
  for (const std::string& line : split(lines, '\n')) {
    std::istringstream fields(line);
    std::string typed, id;
    long pos;
    fields >> typed >> id >> pos;
    out.push_back(pos);
  }
  return out;
}

// The log without its time stamps and without the echo lines of the given options.
std::string log_without(const std::string& log, const std::vector<std::string>& options) {
  std::string out;
  for (const std::string& line : split(without_times(log), '\n')) {
    bool echo = false;
    for (const std::string& o : options) echo = echo || line.find("-- '" + o + "'") != std::string::npos;
    if (!echo) out += line + "\n";
  }
  return out;
}

std::string rows_of(const std::string& diag) { return diag.substr(diag.find('\n') + 1); }

// One diag row per result line, same SNP and position; reasons exactly on dashed lines.
void expect_diag_rows(const std::string& diag, const std::string& results, const Study& s) {
  ASSERT_EQ(diag.substr(0, diag.find('\n') + 1),
            "SNP-id\tPosition\tPath\tAnalysis\tTags\tMD\tHaplotypes\tIterations\tLogLik\tN\tN_cases\tN_controls\tInfo"
            "\tReason\n");
  const std::vector<std::string> lines = split(result_lines(results), '\n'), rows = split(rows_of(diag), '\n');
  ASSERT_EQ(rows.size(), lines.size());
  bool window_seen = false;
  for (std::size_t k = 0; k < rows.size(); k++) {
    SCOPED_TRACE(rows[k]);
    std::vector<std::string> f = split(rows[k], '\t');
    if (f.size() == 13) f.push_back("");  // an empty reason ends the row
    ASSERT_EQ(f.size(), 14u);
    std::istringstream line(lines[k]);
    std::string typed, id;
    long pos;
    line >> typed >> id >> pos;
    EXPECT_EQ(f[0], id);
    EXPECT_EQ(f[1], std::to_string(pos));
    const bool dashed = lines[k].find("      -        -         -          -") != std::string::npos;
    EXPECT_EQ(f[13].empty(), !dashed);
    // N, and its cases and controls in a case-control study only.
    const bool case_control = s.analysis.rfind("case-control", 0) == 0;
    if (f[9] != "NA") {
      EXPECT_EQ(case_control, f[10] != "NA");
      if (case_control) {
        EXPECT_EQ(std::stoi(f[10]) + std::stoi(f[11]), std::stoi(f[9]));
      }
    }
    if (f[2] == "complete data") {
      EXPECT_EQ(f[4], "");
      EXPECT_EQ(f[5], "NA");
      EXPECT_EQ(f[12], "1.0000");
    } else {
      EXPECT_EQ(f[2], typed == "no" ? "untyped" : "typed with missing genotypes");
      if (!dashed) {
        window_seen = true;
        EXPECT_EQ(f[3], s.analysis);
        EXPECT_EQ(split(f[4], ',').size(), s.run.size() == 2 ? 3u : 4u);  // 3 tags where -tag 3 is given
        EXPECT_GE(std::stoi(f[6]), 1);
        EXPECT_GE(std::stoi(f[7]), 1);
        EXPECT_TRUE(std::isfinite(std::stod(f[8])));
        EXPECT_GE(std::stoi(f[9]), 2);
        EXPECT_TRUE(std::stod(f[12]) >= 0.0 && std::stod(f[12]) <= 1.0) << f[12];
      }
    }
  }
  EXPECT_TRUE(window_seen);
}

}  // namespace

TEST(ThreadsAndRanges, SameFilesAndLogAtAnyThreadCountAndForAdjacentRanges) {
  for (const Study& s : studies()) {
    SCOPED_TRACE(s.name);
    ScratchDir dir;
    simulate(dir, s);
    const RunResult whole = run(dir, s, {"-ofile", "plain"});
    ASSERT_EQ(whole.status, 0) << whole.out;
    EXPECT_EQ(whole.err, "");
    EXPECT_EQ((whole.out.find("least-squares") != std::string::npos), s.trait_0_2);  // the two-valued trait warning
    const std::string plain = dir.read("plain_G.out");
    const std::vector<long> pos = positions(result_lines(plain));
    ASSERT_GT(pos.size(), 10u);
    for (const char* n : {"1", "2", "3", "8"}) {
      SCOPED_TRACE(n);
      const std::string prefix = std::string("t") + n;
      const RunResult r = run(dir, s, {"-ofile", prefix, "-threads", n, "-diag", prefix + ".tsv"});
      ASSERT_EQ(r.status, 0) << r.out;
      EXPECT_EQ(r.err, "");
      EXPECT_EQ(dir.read(prefix + "_G.out"), plain);
      EXPECT_EQ(log_without(r.out, {"-ofile", "-threads", "-diag"}), log_without(whole.out, {"-ofile"}));
      EXPECT_NE(r.out.find("-- '-threads' analysis run by " + std::string(n) + " threads\n"), std::string::npos);
      EXPECT_NE(r.out.find("        -- '-diag' diagnostics of every analysis written to '" + prefix + ".tsv'\n"),
                std::string::npos);
      EXPECT_EQ(dir.read(prefix + ".tsv"), dir.read("t1.tsv"));
      EXPECT_FALSE(dir.exists(prefix + ".tsv.part"));
    }
    expect_diag_rows(dir.read("t1.tsv"), plain, s);

    // Three shards, cut after the first SNP and in the middle; then two shards cut
    // after each of the first SNPs, where the first complete-data SNP of a 0/2
    // trait may fall.
    std::vector<std::vector<std::size_t>> cuts = {{1, pos.size() / 2}};
    const std::size_t early = s.trait_0_2 ? 6 : 2;
    for (std::size_t c = 2; c <= early; c++) cuts.push_back({c});
    for (const std::vector<std::size_t>& cut : cuts) {
      std::string joined, joined_rows;
      long from = 0;
      for (std::size_t k = 0; k <= cut.size(); k++) {
        const std::string name = "shard" + std::to_string(k);
        std::vector<std::string> args = {"-ofile", name, "-threads", k % 2 ? "3" : "2", "-from",
                                         std::to_string(from), "-diag", name + ".tsv"};
        if (k < cut.size()) {
          args.insert(args.end(), {"-to", std::to_string(pos[cut[k] - 1])});
          from = pos[cut[k] - 1] + 1;
        }
        const RunResult r = run(dir, s, args);
        ASSERT_EQ(r.status, 0) << r.out;
        const std::string shard = dir.read(name + "_G.out");
        EXPECT_EQ(header_of(shard), header_of(plain));
        joined += result_lines(shard);
        joined_rows += rows_of(dir.read(name + ".tsv"));
      }
      EXPECT_EQ(joined, result_lines(plain)) << "cut after SNP " << cut[0];
      EXPECT_EQ(joined_rows, rows_of(dir.read("t1.tsv"))) << "cut after SNP " << cut[0];
    }
  }
}

TEST(ThreadsAndRanges, RangeOptionsAreEchoedAnEmptyRangeWritesTheHeaderOnlyAndBadValuesStop) {
  const Study& s = studies()[1];
  ScratchDir dir;
  simulate(dir, s);
  const RunResult r = run(dir, s, {"-from", "1", "-to", "999", "-ofile", "none"});
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("        -- '-from' SNPs analysed from position 1 bp\n"), std::string::npos);
  EXPECT_NE(r.out.find("        -- '-to' SNPs analysed up to position 999 bp\n"), std::string::npos);
  // The defaults block does not mention the new options.
  EXPECT_EQ(r.out.find("threads", r.out.find("Defaults in effect")), std::string::npos);
  EXPECT_EQ(result_lines(dir.read("none_G.out")), "");
  EXPECT_NE(header_of(dir.read("none_G.out")).find("Typd       SNP-id"), std::string::npos);
  const struct {
    std::vector<std::string> args;
    std::string error;
  } cases[] = {
      {{"-threads", "0"}, "Error: '-threads' takes a number of threads from 1 to 1024, not '0'.\n"},
      {{"-threads", "2x"}, "Error: '-threads' takes a number of threads from 1 to 1024, not '2x'.\n"},
      {{"-threads", "5000"}, "Error: '-threads' takes a number of threads from 1 to 1024, not '5000'.\n"},
      {{"-from", "abc"}, "Error: '-from' takes a base-pair position, not 'abc'.\n"},
      {{"-to", "-5"}, "Error: '-to' takes a base-pair position, not '-5'.\n"},
      {{"-to", ""}, "Error: '-to' takes a base-pair position, not ''.\n"},
      {{"-from", "2000", "-to", "1999"}, "Error: '-from' position 2000 lies beyond '-to' position 1999.\n"},
      {{"-threads"}, "Error: Command line option '-threads' needs a value.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    const RunResult bad = run(dir, s, c.args);
    EXPECT_EQ(bad.status, 1);
    const std::size_t at = bad.out.find(c.error);
    ASSERT_NE(at, std::string::npos) << bad.out;
    EXPECT_EQ(bad.out.substr(at + c.error.size()), kStop);
  }
}

TEST(ThreadsAndRanges, TwoValuedTraitAsReadOnlyForTheFirstDesignOfTheRun) {
  // With the panel the study's first SNPs are untyped windows that build their
  // design first: every line equals the 0/1 run's. Without it the first SNP is a
  // complete-data fit on the trait as read: 0/2 doubles its estimate and standard
  // error and leaves Z and p; every later line equals the 0/1 run's.
  for (const std::size_t k : {std::size_t{6}, std::size_t{7}}) {
    Study s = studies()[k];
    SCOPED_TRACE(s.name);
    ScratchDir dir;
    s.trait_0_2 = false;
    simulate(dir, s);
    ASSERT_EQ(run(dir, s, {"-ofile", "zero_one"}).status, 0);
    s.trait_0_2 = true;
    simulate(dir, s);
    for (const char* n : {"1", "3"}) {
      ASSERT_EQ(run(dir, s, {"-ofile", "zero_two", "-threads", n}).status, 0);
      std::istringstream a(result_lines(dir.read("zero_one_G.out"))), b(result_lines(dir.read("zero_two_G.out")));
      std::string la, lb;
      int line = 0, differing = 0;
      while (std::getline(a, la) && std::getline(b, lb)) {
        line++;
        if (la == lb) continue;
        differing++;
        EXPECT_EQ(line, 1);
        std::istringstream fa(la), fb(lb);
        std::vector<std::string> va, vb;
        for (std::string f; fa >> f;) va.push_back(f);
        for (std::string f; fb >> f;) vb.push_back(f);
        ASSERT_EQ(va.size(), 10u);
        ASSERT_EQ(vb.size(), 10u);
        EXPECT_NEAR(std::stod(vb[6]), 2 * std::stod(va[6]), 1.5e-4);
        EXPECT_NEAR(std::stod(vb[7]), 2 * std::stod(va[7]), 1.5e-4);
        EXPECT_EQ(vb[8], va[8]);
        EXPECT_EQ(vb[9], va[9]);
      }
      EXPECT_EQ(differing, s.run.empty() ? 0 : 1);
    }
  }
}
