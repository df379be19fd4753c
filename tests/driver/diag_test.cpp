// The -diag file's reasons: a window whose tags carry no information names its
// check, an unwritable file stops the run, and a line of dashes after a
// successful fit names its term and check. (Its identity at any thread count and
// range split, and its rows, are tested with the threads.)
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "driver/writer.h"
#include "support/process.h"

TEST(DiagFile, FailuresAreNamedAndAnUnwritableFileStopsTheRun) {
  ScratchDir dir;
  simulate(dir, {"--seed", "72", "--cases", "150", "--controls", "150", "--snps", "24"});
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
