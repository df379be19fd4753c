// A run stopped from outside (SIGTERM, SIGINT, SIGKILL) midway through its SNPs:
// every result file holds whole lines only, each equal to the same line of a full
// run, and the catchable signals end with an error line and exit status 1.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <thread>

#include "support/process.h"

namespace {

const std::vector<std::string> kFiles = {"_G.out", "_X1.out"};

// Enough SNPs that a run is still going when its first lines are in the files; the
// sanitizer build runs slower and needs fewer.
#if defined(__SANITIZE_ADDRESS__)
const char* const kSnps = "60";
#else
const char* const kSnps = "400";
#endif

}  // namespace

TEST(StoppedRun, LeavesWholeLinesEqualToThoseOfAFullRun) {
  ScratchDir dir;
  simulate(dir, {"--seed", "7", "--snps", kSnps, "--cases", "200", "--controls", "200", "--covariates", "1",
                 "--output", "G X1"});
  RunResult full = run_kestrova(dir, {"-ofile", "full"});
  ASSERT_EQ(full.status, 0) << full.out;
  const std::string full_g = dir.read("full_G.out");
  const std::size_t start = full_g.size() - result_lines(full_g).size();  // the header block and column heads
  ASSERT_GT(start, 0u);

  // Each signal with another number of threads writing side by side.
  const struct {
    int sig;
    const char* name;
    const char* threads;
  } stops[] = {{SIGTERM, "SIGTERM", "3"}, {SIGINT, "SIGINT", "1"}, {SIGKILL, "SIGKILL", "2"}};
  for (const auto& [sig, name, threads] : stops) {
    SCOPED_TRACE(name);
    const std::string prefix = std::string("cut") + name;
    Child child = start_in(dir.path(), KESTROVA_BIN, {"-threads", threads, "-ofile", prefix});
    // Stop it once a few SNPs are written, so that the signal lands in the SNP loop.
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (dir.read(prefix + "_G.out").size() < start + 1000 && std::chrono::steady_clock::now() < give_up)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ::kill(child.pid, sig);
    Finished f = finish(child);

    if (sig == SIGKILL) {
      EXPECT_EQ(f.signal, SIGKILL);
    } else {
      EXPECT_EQ(f.result.status, 1);
      EXPECT_TRUE(ends_with(f.result.out, std::string("Error: run stopped by signal ") + name + ".\n" + kStop));
      EXPECT_EQ(f.result.out.find("Kestrova complete"), std::string::npos);
    }
    for (const std::string& file : kFiles) {
      const std::string whole = dir.read("full" + file), cut = dir.read(prefix + file);
      EXPECT_GE(cut.size(), start) << file;
      EXPECT_LT(cut.size(), whole.size()) << file << ": the run was not stopped midway";
      EXPECT_EQ(whole.compare(0, cut.size(), cut), 0) << file;
      EXPECT_TRUE(cut.empty() || cut.back() == '\n') << file;
    }
  }
}
