// The -diag file: one row per written SNP in map order, the same at any thread
// count and for any position-range split, written as a whole, and leaving the
// result files and the run log as they are without it. Rows of dashed lines
// carry a reason, other rows none.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "driver/writer.h"
#include "support/process.h"

namespace {

struct Study {
  std::string name;
  std::vector<std::string> sim, run;
  std::string analysis;  // the haplotype analysis the diag rows name
};

const std::vector<Study>& studies() {
  static const std::vector<Study> all = {
      {"case-control, DEPENDENT covariate, panel",
       {"--seed", "71", "--cases", "150", "--controls", "150", "--snps", "24", "--categorical", "1", "--dependent"},
       {},
       "case-control retrospective likelihood with gene-environment dependence"},
      {"cohort, G only, panel",
       {"--seed", "73", "--design", "cohort", "--subjects", "300", "--snps", "24"},
       {},
       "cohort proportional hazards without dependence"},
      {"cross-sectional, independent covariate, no panel",
       {"--seed", "75", "--design", "cross-sectional", "--subjects", "300", "--snps", "24", "--covariates", "1"},
       {"-ne", "-tag", "3"},
       "cross-sectional normal regression without dependence"},
  };
  return all;
}

std::vector<std::string> split(const std::string& text, char sep) {
  std::vector<std::string> out;
  std::string item;
  std::istringstream in(text);
  while (std::getline(in, item, sep)) out.push_back(item);
  return out;
}

// The result lines of a file: everything after the column heads' dashes.
std::vector<std::string> result_lines(const std::string& file) {
  const std::size_t heads = file.find("\n----");
  if (heads == std::string::npos) return {};
  return split(file.substr(file.find('\n', heads + 1) + 1), '\n');
}

RunResult run(const ScratchDir& dir, const Study& s, std::vector<std::string> extra) {
  std::vector<std::string> args = s.run;
  args.insert(args.end(), extra.begin(), extra.end());
  return run_kestrova(dir, args);
}

std::string rows_of(const std::string& diag) { return diag.substr(diag.find('\n') + 1); }

const char* const kHeader = "SNP-id\tPosition\tPath\tAnalysis\tTags\tMD\tHaplotypes\tIterations\tLogLik\tReason\n";

}  // namespace

TEST(DiagFile, SameAtAnyThreadCountAndRangeSplitAndResultsUnchanged) {
  for (const Study& s : studies()) {
    SCOPED_TRACE(s.name);
    ScratchDir dir;
    std::vector<std::string> sim_args = {"--out", "."};
    sim_args.insert(sim_args.end(), s.sim.begin(), s.sim.end());
    ASSERT_EQ(run_in(dir.path(), KESTROVA_SIM, sim_args).status, 0);

    const RunResult plain = run(dir, s, {"-ofile", "plain"});
    ASSERT_EQ(plain.status, 0) << plain.out;
    const RunResult one = run(dir, s, {"-ofile", "one", "-diag", "one.tsv", "-threads", "1"});
    ASSERT_EQ(one.status, 0) << one.out;
    EXPECT_EQ(one.err, "");
    const RunResult three = run(dir, s, {"-ofile", "three", "-diag", "three.tsv", "-threads", "3"});
    ASSERT_EQ(three.status, 0) << three.out;

    // Results and log as without -diag; the option echoed like the others.
    EXPECT_EQ(dir.read("one_G.out"), dir.read("plain_G.out"));
    EXPECT_EQ(dir.read("three_G.out"), dir.read("plain_G.out"));
    EXPECT_NE(one.out.find("        -- '-diag' diagnostics of every analysis written to 'one.tsv'\n"),
              std::string::npos);
    std::string log = without_times(one.out);
    log.erase(log.find("        -- '-diag'"), std::string("        -- '-diag' diagnostics of every analysis written to 'one.tsv'\n").size());
    log.erase(log.find("        -- '-threads'"), std::string("        -- '-threads' analysis run by 1 threads\n").size());
    std::string plain_log = without_times(plain.out);
    const std::size_t o = plain_log.find("'plain_***.out'");
    plain_log.replace(o, 6, "'one");
    EXPECT_EQ(log, plain_log);

    const std::string diag = dir.read("one.tsv");
    EXPECT_EQ(dir.read("three.tsv"), diag);
    EXPECT_FALSE(dir.exists("one.tsv.part"));
    ASSERT_EQ(diag.substr(0, std::string(kHeader).size()), kHeader);

    // One row per result line, same SNP and position; reasons exactly on dashed lines.
    const std::vector<std::string> lines = result_lines(dir.read("plain_G.out"));
    const std::vector<std::string> rows = split(rows_of(diag), '\n');
    ASSERT_EQ(rows.size(), lines.size());
    ASSERT_GT(rows.size(), 10u);
    bool window_seen = false;
    for (std::size_t k = 0; k < rows.size(); k++) {
      SCOPED_TRACE(rows[k]);
      std::vector<std::string> f = split(rows[k], '\t');
      if (f.size() == 9) f.push_back("");  // an empty reason ends the row
      ASSERT_EQ(f.size(), 10u);
      std::istringstream line(lines[k]);
      std::string typed, id;
      long pos;
      line >> typed >> id >> pos;
      EXPECT_EQ(f[0], id);
      EXPECT_EQ(f[1], std::to_string(pos));
      const bool dashed = lines[k].find("      -        -         -          -") != std::string::npos;
      EXPECT_EQ(f[9].empty(), !dashed);
      if (f[2] == "complete data") {
        EXPECT_EQ(f[4], "");
        EXPECT_EQ(f[5], "NA");
      } else {
        EXPECT_EQ(f[2], typed == "no" ? "untyped" : "typed with missing genotypes");
        if (!dashed) {
          window_seen = true;
          EXPECT_EQ(f[3], s.analysis);
          EXPECT_EQ(split(f[4], ',').size(), s.run.size() == 3 ? 3u : 4u);
          EXPECT_GE(std::stoi(f[6]), 1);
          EXPECT_GE(std::stoi(f[7]), 1);
          EXPECT_TRUE(std::isfinite(std::stod(f[8])));
        }
      }
    }
    EXPECT_TRUE(window_seen);

    // Two ranges, cut in the middle: their rows are the whole run's rows.
    std::istringstream mid(lines[lines.size() / 2]);
    std::string typed, id;
    long cut;
    mid >> typed >> id >> cut;
    ASSERT_EQ(run(dir, s, {"-ofile", "a", "-diag", "a.tsv", "-to", std::to_string(cut), "-threads", "2"}).status, 0);
    ASSERT_EQ(run(dir, s, {"-ofile", "b", "-diag", "b.tsv", "-from", std::to_string(cut + 1)}).status, 0);
    EXPECT_EQ(rows_of(dir.read("a.tsv")) + rows_of(dir.read("b.tsv")), rows_of(diag));
  }
}

TEST(DiagFile, FailuresAreNamedAndAnUnwritableFileStopsTheRun) {
  ScratchDir dir;
  ASSERT_EQ(run_in(dir.path(), KESTROVA_SIM, {"--out", ".", "--seed", "72", "--cases", "150", "--controls", "150",
                                              "--snps", "24"})
                .status,
            0);
  // Eight tags from a window of 1000 bp: most untyped SNPs find no informative set.
  const RunResult r = run_kestrova(dir, {"-tag", "8", "-window", "1000", "-min", "0", "-diag", "d.tsv"});
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string diag = dir.read("d.tsv");
  EXPECT_NE(diag.find("getMD_max: tags carry no information (MD below 1e-06)"), std::string::npos) << diag;

  const RunResult bad = run_kestrova(dir, {"-diag", "no/such/folder/d.tsv"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_NE(bad.out.find("Error: Diagnostics file 'no/such/folder/d.tsv.part' cannot be written.\n"),
            std::string::npos)
      << bad.out;
}

TEST(DiagFile, ALineOfDashesAfterASuccessfulFitNamesItsTermAndCheck) {
  const std::vector<std::string> terms = {"G", "E$G"};
  const FailReason none;
  EXPECT_EQ(diag_reason(terms, true, none, {0.5, 1.0}, {0.1, 0.2}), "");
  EXPECT_EQ(diag_reason(terms, true, none, {0.5, 1.0}, {0.1, 0.0}),
            "result line of term 'E$G': standard error is zero, negative or not a finite number");
  EXPECT_EQ(diag_reason(terms, true, none, {std::nan(""), 1.0}, {0.1, 0.2}),
            "result line of term 'G': estimate is not a finite number");
  EXPECT_EQ(diag_reason(terms, true, none, {1e300, 1.0}, {1e-300, 0.2}),
            "result line of term 'G': Z statistic is not finite");
  EXPECT_EQ(diag_reason(terms, false, FailReason{"A4", Check::kFitCap}, {}, {}),
            "A4: no convergence within the cap of fitting iterations");
}
