// Windows analysed side by side and runs split by position: the result files and
// the run log are byte-identical at any thread count, and the lines of adjacent
// position ranges, concatenated, are the whole run's lines. Simulated studies
// cover every design, each analysis class (DEPENDENT covariate, independent
// covariates, G only), with and without the panel, and a two-valued
// cross-sectional trait coded 0/2, whose recoding makes the order of the SNPs matter.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/process.h"

namespace {

struct Study {
  std::string name;
  std::vector<std::string> sim;  // simulator options
  std::vector<std::string> run;  // program options
  bool trait_0_2 = false;        // rewrite a 0/1 trait as 0/2
};

const std::vector<Study>& studies() {
  static const std::vector<Study> all = {
      {"case-control, DEPENDENT covariate, panel",
       {"--seed", "71", "--cases", "150", "--controls", "150", "--snps", "24", "--categorical", "1", "--dependent"},
       {}},
      {"case-control, independent covariate, no panel",
       {"--seed", "72", "--cases", "150", "--controls", "150", "--snps", "24", "--covariates", "1"},
       {"-ne"}},
      {"cohort, G only, panel", {"--seed", "73", "--design", "cohort", "--subjects", "300", "--snps", "24"}, {}},
      {"cohort, DEPENDENT covariate, no panel",
       {"--seed", "74", "--design", "cohort", "--subjects", "300", "--snps", "24", "--categorical", "1",
        "--dependent"},
       {"-ne"}},
      {"cross-sectional, independent covariate, panel",
       {"--seed", "75", "--design", "cross-sectional", "--subjects", "300", "--snps", "24", "--covariates", "1"},
       {}},
      {"cross-sectional, G only, no panel",
       {"--seed", "76", "--design", "cross-sectional", "--subjects", "300", "--snps", "24"},
       {"-ne"}},
      {"cross-sectional 0/2 trait, DEPENDENT covariate, panel",
       {"--seed", "77", "--design", "cross-sectional", "--trait", "binary", "--subjects", "300", "--snps", "24",
        "--categorical", "1", "--dependent"},
       {},
       true},
      {"cross-sectional 0/2 trait, G only, no panel",
       {"--seed", "78", "--design", "cross-sectional", "--trait", "binary", "--subjects", "300", "--snps", "24"},
       {"-ne"},
       true},
  };
  return all;
}

void simulate(const ScratchDir& dir, const Study& s) {
  std::vector<std::string> args = {"--out", "."};
  args.insert(args.end(), s.sim.begin(), s.sim.end());
  RunResult r = run_in(dir.path(), KESTROVA_SIM, args);
  ASSERT_EQ(r.status, 0) << r.err;
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

RunResult run(const ScratchDir& dir, const Study& s, std::vector<std::string> extra) {
  std::vector<std::string> args = s.run;
  args.insert(args.end(), extra.begin(), extra.end());
  return run_kestrova(dir, args);
}

// The result lines of a file: everything after the column heads' dashes.
std::string lines_of(const std::string& file) {
  const std::size_t heads = file.find("\n----");
  if (heads == std::string::npos) return "";
  const std::size_t start = file.find('\n', heads + 1);
  return start == std::string::npos ? "" : file.substr(start + 1);
}

std::string header_of(const std::string& file) { return file.substr(0, file.size() - lines_of(file).size()); }

// The position column of every result line.
std::vector<long> positions(const std::string& lines) {
  std::vector<long> out;
  std::istringstream in(lines);
  std::string line, typed, id;
  long pos;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    fields >> typed >> id >> pos;
    out.push_back(pos);
  }
  return out;
}

// The log without its time stamps and without the echo lines of the given options.
std::string log_without(const std::string& log, const std::vector<std::string>& options) {
  std::istringstream in(without_times(log));
  std::string line, out;
  while (std::getline(in, line)) {
    bool echo = false;
    for (const std::string& o : options) echo = echo || line.find("-- '" + o + "'") != std::string::npos;
    if (!echo) out += line + "\n";
  }
  return out;
}

}  // namespace

TEST(ThreadsAndRanges, ResultFilesAndLogAreTheSameAtAnyThreadCount) {
  for (const Study& s : studies()) {
    SCOPED_TRACE(s.name);
    ScratchDir dir;
    simulate(dir, s);
    const RunResult whole = run(dir, s, {"-ofile", "plain"});
    ASSERT_EQ(whole.status, 0) << whole.out;
    EXPECT_EQ(whole.err, "");
    const std::string plain = dir.read("plain_G.out");
    ASSERT_GT(positions(lines_of(plain)).size(), 10u);
    for (const char* n : {"1", "2", "3", "8"}) {
      SCOPED_TRACE(n);
      const std::string prefix = std::string("t") + n;
      const RunResult r = run(dir, s, {"-ofile", prefix, "-threads", n});
      ASSERT_EQ(r.status, 0) << r.out;
      EXPECT_EQ(r.err, "");
      EXPECT_EQ(dir.read(prefix + "_G.out"), plain);
      EXPECT_EQ(log_without(r.out, {"-ofile", "-threads"}), log_without(whole.out, {"-ofile"}));
      EXPECT_NE(r.out.find("-- '-threads' analysis run by " + std::string(n) + " threads\n"), std::string::npos);
    }
  }
}

TEST(ThreadsAndRanges, AdjacentRangesConcatenateToTheWholeRun) {
  for (const Study& s : studies()) {
    SCOPED_TRACE(s.name);
    ScratchDir dir;
    simulate(dir, s);
    ASSERT_EQ(run(dir, s, {"-ofile", "whole"}).status, 0);
    const std::string whole = dir.read("whole_G.out");
    const std::vector<long> pos = positions(lines_of(whole));
    ASSERT_GT(pos.size(), 10u);
    // Three shards, cut after the first SNP and in the middle; then two shards cut
    // after each of the first SNPs, where the first complete-data SNP of a 0/2
    // trait may fall.
    std::vector<std::vector<std::size_t>> cuts = {{1, pos.size() / 2}};
    const std::size_t early = s.trait_0_2 ? 6 : 2;
    for (std::size_t c = 2; c <= early; c++) cuts.push_back({c});
    for (const std::vector<std::size_t>& cut : cuts) {
      std::string joined;
      long from = 0;
      for (std::size_t k = 0; k <= cut.size(); k++) {
        const std::string name = "shard" + std::to_string(k);
        std::vector<std::string> args = {"-ofile", name, "-threads", k % 2 ? "3" : "2", "-from",
                                         std::to_string(from)};
        if (k < cut.size()) {
          args.insert(args.end(), {"-to", std::to_string(pos[cut[k] - 1])});
          from = pos[cut[k] - 1] + 1;
        }
        const RunResult r = run(dir, s, args);
        ASSERT_EQ(r.status, 0) << r.out;
        const std::string shard = dir.read(name + "_G.out");
        EXPECT_EQ(header_of(shard), header_of(whole));
        joined += lines_of(shard);
      }
      EXPECT_EQ(joined, lines_of(whole)) << "cut after SNP " << cut[0];
    }
  }
}

TEST(ThreadsAndRanges, RangeOptionsAreEchoedAndAnEmptyRangeWritesTheHeaderOnly) {
  const Study& s = studies()[1];
  ScratchDir dir;
  simulate(dir, s);
  const RunResult r = run(dir, s, {"-from", "1", "-to", "999", "-ofile", "none"});
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_NE(r.out.find("        -- '-from' SNPs analysed from position 1 bp\n"), std::string::npos);
  EXPECT_NE(r.out.find("        -- '-to' SNPs analysed up to position 999 bp\n"), std::string::npos);
  // The defaults block does not mention the new options.
  EXPECT_EQ(r.out.find("threads", r.out.find("Defaults in effect")), std::string::npos);
  EXPECT_EQ(lines_of(dir.read("none_G.out")), "");
  EXPECT_NE(header_of(dir.read("none_G.out")).find("Typd       SNP-id"), std::string::npos);
}

TEST(ThreadsAndRanges, BadValuesStopTheRun) {
  const Study& s = studies()[1];
  ScratchDir dir;
  simulate(dir, s);
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
    const RunResult r = run(dir, s, c.args);
    EXPECT_EQ(r.status, 1);
    const std::size_t at = r.out.find(c.error);
    ASSERT_NE(at, std::string::npos) << r.out;
    EXPECT_EQ(r.out.substr(at + c.error.size()), "\nKestrova was stopped due to error(s) listed above.\n\n");
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
      std::istringstream a(lines_of(dir.read("zero_one_G.out"))), b(lines_of(dir.read("zero_two_G.out")));
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
