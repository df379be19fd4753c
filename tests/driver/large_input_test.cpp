// Wide and long inputs, and runs starved of memory. The inputs are generated here
// into a scratch folder. 200,000 subjects, or a genotype line of 100 MB, are read
// within a stated memory bound (the peak resident memory of the child, from
// wait4); speed is for `make bench` (a quadratic step would still run into the
// test's time limit). A run whose address space is limited stops with an
// "Error: not enough memory to ..." line naming what it was reading and the bytes
// needed, or completes; it never crashes.
//
// The memory bounds are generous guards against copies of whole inputs, not
// measurements; the sanitizer build skips these tests (its shadow memory defeats
// both the bounds and address-space limits).
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/process.h"

#if defined(__SANITIZE_ADDRESS__)
#define SKIP_UNDER_SANITIZERS() GTEST_SKIP() << "not meaningful under the sanitizers"
#else
#define SKIP_UNDER_SANITIZERS() (void)0
#endif

namespace {

const std::vector<std::string> kNoPanel = {"-ne", "-ofile", "big"};

// Case-control phenotypes of n subjects with a continuous covariate (nearly every
// subject a pattern of its own) and a categorical one.
std::string phenotypes(int n, bool covariates) {
  std::mt19937 rng(11);
  std::string text = covariates ? "STATUS AGE SITE\n" : "STATUS\n";
  for (int i = 0; i < n; i++) {
    text += (i % 2) ? "1" : "0";
    if (covariates) {
      text += ' ' + std::to_string(20.0 + static_cast<double>(rng() % 4000000) / 100000.0);
      text += ' ' + std::to_string(rng() % 5);
    }
    text += '\n';
  }
  return text;
}

// One fully typed SNP line of n codes drawn with allele frequency about 0.3.
std::string genotype_line(int snp, int n, std::mt19937& rng) {
  std::string line = "rs" + std::to_string(snp) + " " + std::to_string(1000 + 100 * snp) + " 0 A G";
  for (int i = 0; i < n; i++) {
    const auto r = rng() % 100;
    line += r < 49 ? " 0" : r < 91 ? " 1" : " 2";
  }
  return line + "\n";
}

// A G-only case-control model over n subjects without covariates.
void g_only(const ScratchDir& dir, int n) {
  dir.write("specification.txt", "DESIGN = case-control\nEFFECT = G\nOUTPUT = G\n");
  dir.write("phenotype.dat", phenotypes(n, false));
}

// The run stopped (without a signal) with "Error: not enough memory to read <what>".
void expect_memory_error(const Finished& f, const std::string& what) {
  EXPECT_EQ(f.result.status, 1);
  EXPECT_EQ(f.signal, 0);
  EXPECT_TRUE(ends_with(f.result.out, "Error: not enough memory to read " + what + kStop)) << f.result.out;
}

}  // namespace

TEST(LargeInput, TwoHundredThousandSubjectsReadWithinAMemoryBound) {
  SKIP_UNDER_SANITIZERS();
  constexpr int kSubjects = 200000;
  ScratchDir dir;
  dir.write("specification.txt", "DESIGN = case-control\nEFFECT = G AGE SITE\nCATEGORICAL = SITE\nOUTPUT = G\n");
  dir.write("phenotype.dat", phenotypes(kSubjects, true));
  std::mt19937 rng(5);
  dir.write("genotype.dat",
            genotype_line(0, kSubjects, rng) + genotype_line(1, kSubjects, rng) + genotype_line(2, kSubjects, rng));

  Finished f = finish(start_in(dir.path(), KESTROVA_BIN, kNoPanel));
  ASSERT_EQ(f.result.status, 0) << f.result.out;
  EXPECT_NE(f.result.out.find("200000 individuals read from 'phenotype.dat', 200000 used in analysis\n"),
            std::string::npos);
  EXPECT_NE(f.result.out.find("3 SNPs and 200000 individuals read from 'genotype.dat'\n"), std::string::npos);
  // The run peaks near 60 MB (data of about 10 MB, the regression design and the program).
  EXPECT_LT(f.max_rss_kb, 150 * 1024) << "peak resident memory in kB";
}

TEST(LargeInput, HundredMegabyteGenotypeLineIsReadWithinTwiceItsSize) {
  SKIP_UNDER_SANITIZERS();
  constexpr int kSubjects = 1000;
  constexpr std::size_t kGap = 100000;  // blanks between two codes
  ScratchDir dir;
  g_only(dir, kSubjects);
  // Built and written in a scope of its own: the child's peak memory counts what it
  // shares with this process when forked.
  std::size_t line_bytes = 0;
  {
    std::mt19937 rng(9);
    std::string geno = genotype_line(1, kSubjects, rng) + "rs2 2000 0 A\tG";
    geno.reserve(kSubjects * (kGap + 1) + 1000);
    for (int i = 0; i < kSubjects; i++) {
      geno.append(kGap, i % 2 ? ' ' : '\t');
      geno += "012"[i % 3];
    }
    line_bytes = geno.size() - geno.find("rs2");
    geno += "\r\n";
    dir.write("genotype.dat", geno);
  }
  ASSERT_GT(line_bytes, 100000000u);

  Finished f = finish(start_in(dir.path(), KESTROVA_BIN, kNoPanel));
  ASSERT_EQ(f.result.status, 0) << f.result.out;
  EXPECT_NE(f.result.out.find("2 SNPs and 1000 individuals read from 'genotype.dat'\n"), std::string::npos);
  EXPECT_NE(dir.read("big_G.out").find("rs2   "), std::string::npos);
  EXPECT_LT(static_cast<std::size_t>(f.max_rss_kb) * 1024, 2 * line_bytes) << "peak resident memory in kB";

  // With too little address space for the line, the error names the file, the line and the bytes.
  expect_memory_error(finish(start_in(dir.path(), KESTROVA_BIN, kNoPanel, 120ll << 20)),
                      "'genotype.dat': 134217728 bytes (128.0 MB) needed for line 2.\n");
}

TEST(MemoryStarved, GenotypeMatrixTooLargeForTheMemoryIsNamed) {
  SKIP_UNDER_SANITIZERS();
  ScratchDir dir;
  g_only(dir, 2000);
  // A million SNP lines (counted before anything else is read) for 2000 subjects:
  // 2 GB of genotypes.
  std::string lines;
  for (int s = 0; s < 1000000; s++) lines += "x\n";
  dir.write("genotype.dat", lines);
  expect_memory_error(finish(start_in(dir.path(), KESTROVA_BIN, kNoPanel, 512ll << 20)),
                      "'genotype.dat': 2070000000 bytes (1974.1 MB) needed for the genotypes of 1000000 SNPs by "
                      "2000 individuals.\n");
}

// A file without line ends, such as a device that never ends, grows the line buffer
// until the memory runs out (or the line passes 2^31 characters).
TEST(MemoryStarved, EndlessLineStopsWhenTheBufferCannotGrow) {
  SKIP_UNDER_SANITIZERS();
  ScratchDir dir;
  g_only(dir, 10);
  expect_memory_error(finish(start_in(dir.path(), KESTROVA_BIN, {"-ne", "-gfile", "/dev/zero"}, 256ll << 20)),
                      "'/dev/zero': 268435456 bytes (256.0 MB) needed for line 1.\n");
}

// A simulated study with the panel, run under address-space limits from too small
// to load the program to enough for the whole run (the program needs about 8 MB
// here): every run that starts either completes with the full results or stops
// with a memory error line (on standard output, or through the numerical stop on
// standard error for the index-range arrays); none dies of a signal.
TEST(MemoryStarved, EveryLimitEndsWithAnErrorLineOrCompletes) {
  SKIP_UNDER_SANITIZERS();
  ScratchDir dir;
  simulate(dir, {"--seed", "3", "--snps", "30", "--cases", "500", "--controls", "500"});
  RunResult full = run_kestrova(dir, {"-ofile", "full"});
  ASSERT_EQ(full.status, 0);
  const std::string expected = dir.read("full_G.out");
  int stopped = 0, completed = 0;
  for (long long kb = 4096; kb <= 10240; kb += 128) {
    SCOPED_TRACE(std::to_string(kb) + " kB");
    Finished f = finish(start_in(dir.path(), KESTROVA_BIN, {"-ofile", "limited"}, kb << 10));
    ASSERT_EQ(f.signal, 0) << f.result.out << f.result.err;
    if (f.result.status == 127 && f.result.err.find("error while loading shared libraries") != std::string::npos)
      continue;  // too little to load the program at all
    if (f.result.status == 0) {
      completed++;
      EXPECT_EQ(dir.read("limited_G.out"), expected);
      continue;
    }
    ASSERT_EQ(f.result.status, 1) << f.result.out << f.result.err;
    stopped++;
    const bool on_stdout = f.result.out.find("Error: not enough memory to ") != std::string::npos &&
                           ends_with(f.result.out, kStop);
    const bool numerical = f.result.err.find("Numerical Recipes run-time error") != std::string::npos;
    EXPECT_TRUE(on_stdout || numerical) << f.result.out << f.result.err;
  }
  EXPECT_GT(stopped, 0);
  EXPECT_GT(completed, 0);
}
