// The whole program on simulated studies: result files compared with checked
// outputs, the detection of an untyped causal SNP, and input written in other
// styles (Windows line ends, tabs, several blanks) giving byte-identical results.
//
// The checked outputs come from
//   kestrova-sim --out cc --seed 31 --cases 300 --controls 300 --snps 40 --effect 0.8 --causal-untyped
//   kestrova -ofile panel        and        kestrova -ne -ofile nopanel
// Their complete-data lines agree with R's glm(STATUS ~ g, family = binomial) to four
// decimals (e.g. rs12456: estimate 0.7080, standard error 0.1216; the standard error
// of the last Newton step can differ in the fourth decimal, as for rs12741: glm 0.1389).
//
// The cohort and cross-sectional checked outputs come from
//   kestrova-sim --out co --seed 61 --design cohort --subjects 400 --snps 30 --effect 0.6
//                --covariates 1 --categorical 1 --output "G X1"
//   kestrova-sim --out cs --seed 62 --design cross-sectional --subjects 400 --snps 30 --effect 0.5
//                --categorical 1 --dependent
// and a plain kestrova run; all their complete-data lines agree to four decimals with
// survival::coxph(Surv(TIME, EVENT) ~ g + X1 + factor(C1), ties = "breslow") and with
// lm(TRAIT ~ g + factor(C1)).
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "support/process.h"

namespace {

const std::vector<std::string> kSimArgs = {"--seed", "31", "--cases", "300", "--controls", "300", "--snps", "40",
                                           "--effect", "0.8", "--causal-untyped"};

std::string golden(const std::string& name) {
  return slurp(std::filesystem::path(KESTROVA_SOURCE_DIR) / "tests" / "e2e" / "golden" / name);
}

// Rewrites a file with Windows line ends, tabs and runs of blanks, no final newline.
void restyle(const ScratchDir& dir, const std::string& name) {
  std::string text = dir.read(name), out;
  for (std::size_t i = 0; i < text.size(); i++) {
    char c = text[i];
    if (c == '\n') {
      if (i + 1 < text.size()) out += "\r\n";
    } else if (c == ' ') {
      out += (i % 3 == 0) ? "\t" : (i % 3 == 1) ? "  " : " \t ";
    } else {
      out += c;
    }
  }
  dir.write(name, out);
}

std::string value_in_truth(const std::string& truth, const std::string& key) {
  std::smatch m;
  std::regex re(key + " = (\\S+)");
  return std::regex_search(truth, m, re) ? m[1].str() : "";
}

}  // namespace

// One simulated case-control study: the checked outputs with and without the
// panel, the run log, other numbers of tags, and the untyped causal SNP found.
TEST(EndToEnd, CaseControlResultsMatchCheckedOutputs) {
  ScratchDir dir;
  simulate(dir, kSimArgs);
  RunResult r = run_kestrova(dir, {"-ofile", "panel"});
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string panel = dir.read("panel_G.out");
  EXPECT_EQ(panel, golden("cc_panel_G.out"));
  EXPECT_NE(r.out.find("600 individuals read from 'phenotype.dat', 600 used in analysis\n"), std::string::npos);
  EXPECT_NE(r.out.find(" trios, 10 duos and 60 singletons read from 'external.dat'\n"), std::string::npos);
  EXPECT_NE(r.out.find(" trios, 10 duos, and 60 singletons read from 'haplotype.dat'\n"), std::string::npos);
  EXPECT_NE(without_times(r.out).find("\nKestrova complete: <time>"), std::string::npos);
  r = run_kestrova(dir, {"-ne", "-ofile", "nopanel"});
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(dir.read("nopanel_G.out"), golden("cc_nopanel_G.out"));
  // Under -ne only study SNPs appear.
  EXPECT_EQ(dir.read("nopanel_G.out").find("  no  "), std::string::npos);
  // Other numbers of tags: windows of 3 and 8 SNPs, one line per SNP all the same.
  for (const char* tags : {"2", "7"}) {
    RunResult t = run_kestrova(dir, {"-tag", tags, "-ofile", std::string("tags") + tags});
    ASSERT_EQ(t.status, 0) << t.out;
    std::string text = dir.read(std::string("tags") + tags + "_G.out");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), std::count(panel.begin(), panel.end(), '\n'));
  }
  // The untyped causal SNP: a simulated log odds ratio of 0.8 per allele.
  const std::string id = value_in_truth(dir.read("truth.txt"), "causal_id");
  ASSERT_FALSE(id.empty());
  const std::string lines = result_lines(panel);
  const std::size_t at = lines.find("  " + id + " ");
  ASSERT_NE(at, std::string::npos);
  std::istringstream line(lines.substr(lines.rfind('\n', at) + 1));
  std::string typed, snp, pos, alleles, md, freq;
  double estimate = 0, se = 0, z = 0, p = 1;
  line >> typed >> snp >> pos >> alleles >> md >> freq >> estimate >> se >> z >> p;
  EXPECT_EQ(typed, "no");
  EXPECT_GT(estimate, 0.4);
  EXPECT_LT(p, 1e-6);
}

TEST(EndToEnd, RestyledInputGivesByteIdenticalResults) {
  ScratchDir plain, styled;
  simulate(plain, kSimArgs);
  simulate(styled, kSimArgs);
  for (const char* f : {"specification.txt", "phenotype.dat", "genotype.dat", "external.dat", "haplotype.dat"})
    restyle(styled, f);
  ASSERT_EQ(run_kestrova(plain, {"-ofile", "out"}).status, 0);
  RunResult r = run_kestrova(styled, {"-ofile", "out"});
  ASSERT_EQ(r.status, 0) << r.out;
  EXPECT_EQ(styled.read("out_G.out"), plain.read("out_G.out"));
}

TEST(EndToEnd, CohortAndCrossSectionalResultsMatchCheckedOutputs) {
  ScratchDir co, cs;
  simulate(co, {"--seed", "61", "--design", "cohort", "--subjects", "400", "--snps", "30", "--effect", "0.6",
                "--covariates", "1", "--categorical", "1", "--output", "G X1"});
  simulate(cs, {"--seed", "62", "--design", "cross-sectional", "--subjects", "400", "--snps", "30", "--effect", "0.5",
                "--categorical", "1", "--dependent"});
  ASSERT_EQ(run_kestrova(co, {}).status, 0);
  ASSERT_EQ(run_kestrova(cs, {}).status, 0);
  EXPECT_EQ(co.read("results_G.out"), golden("co_G.out"));
  EXPECT_EQ(co.read("results_X1.out"), golden("co_X1.out"));
  EXPECT_EQ(cs.read("results_G.out"), golden("cs_G.out"));
}

// A DEPENDENT covariate beside a continuous one makes a covariate pattern of each
// subject: the run log says so once, right after the count lines.
TEST(EndToEnd, DependenceCostWarningAfterTheCounts) {
  ScratchDir dir;
  simulate(dir, {"--seed", "5", "--design", "cohort", "--subjects", "150", "--snps", "4", "--typed-share", "1",
                 "--missing-share", "0", "--categorical", "1", "--dependent", "--covariates", "1"});
  RunResult r = run_kestrova(dir, {"-ne"});
  ASSERT_EQ(r.status, 0) << r.out;
  const std::string counts = "individuals read from 'genotype.dat'\n";
  const std::size_t at = r.out.find(counts);
  ASSERT_NE(at, std::string::npos) << r.out;
  const std::size_t warning = r.out.find("Warning: the model's covariates form J = ");
  EXPECT_EQ(warning, at + counts.size()) << r.out;
  const std::string line = r.out.substr(warning, r.out.find('\n', warning) - warning);
  EXPECT_NE(line.find("J = 150 covariate patterns (X1 with 150 distinct values)"), std::string::npos) << line;
  EXPECT_EQ(r.out.find("Warning: the model's", warning + 1), std::string::npos);  // once, not per SNP
}
