// The workers and the ordered writer with stand-in analyses that finish in
// shuffled order and fail on purpose: lines come out in map order at any thread
// count, a numerical fatal error stops the writing right before its SNP, and an
// allocation failure that only happens side by side is retried alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <string>
#include <thread>

#include "core/nrerror.h"
#include "driver/writer.h"
#include "support/process.h"

namespace {

constexpr int kSnps = 24;

RunData study_of_snps() {
  RunData d;
  StudyData& s = d.study;
  s.nsnp = kSnps;
  d.map.clear();
  for (int k = 0; k < kSnps; k++) {
    s.id.push_back("rs" + std::to_string(100 + k));
    s.pos.push_back(1000 * (k + 1));
    s.a1.push_back('A');
    s.a2.push_back('G');
    s.freq.push_back(0.25);
    s.missing.push_back(0.0);
    d.map.push(MapEntry{1000 * (k + 1), k, -1, -1});
  }
  d.map.close();
  return d;
}

SnpPlan plan_of_all() {
  SnpPlan p;
  for (int e = 0; e < kSnps; e++) p.jobs.push_back(SnpJob{e, kCompleteData, true, false});
  p.written = kSnps;
  return p;
}

// Later SNPs of every group of five finish first.
void fit(const SnpJob& job, SnpResult& r) {
  std::this_thread::sleep_for(std::chrono::microseconds(300 * (5 - job.e % 5)));
  r.ok = true;
  r.b = {0.1 * job.e};
  r.s = {0.05};
}

void fails_numerically_at_9(const SnpJob& job, const AnalysisInputs&, WorkerScratch&, SnpResult& r) {
  fit(job, r);
  if (job.e == 9) r.error = std::make_exception_ptr(NumericalError("Sigmatrix in ludcmp"));
}

std::atomic<int> in_flight{0};
std::atomic<int> refusals{0};

// SNP 7 needs so much memory that it fails whenever another SNP is analysed at the same time.
void fails_side_by_side_at_7(const SnpJob& job, const AnalysisInputs&, WorkerScratch&, SnpResult& r) {
  in_flight++;
  if (job.e == 7) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  fit(job, r);
  if (job.e == 7 && in_flight > 1) {
    refusals++;
    r.error = std::make_exception_ptr(std::bad_alloc());
  }
  in_flight--;
}

struct Written {
  WriteEnd end;
  std::string file;
};

Written write_all(AnalyseFn analyse, int threads) {
  const RunData data = study_of_snps();
  const RunSettings settings;
  const SnpPlan plan = plan_of_all();
  const std::vector<int> index = {0};
  const AnalysisInputs in{data, settings, index};
  ScratchDir dir;
  const std::string name = (dir.path() / "lines.out").string();
  ResultFiles files;
  EXPECT_EQ(files.open({name}), "");
  std::FILE* quiet = std::fopen("/dev/null", "w");
  Progress progress(plan.written, quiet);
  Written w;
  {
    WorkerPool pool(plan, in, threads, analyse);
    w.end = write_results(plan, pool, data, files, progress, nullptr);
  }
  std::fclose(quiet);
  EXPECT_EQ(files.close(), "");
  w.file = slurp(name);
  return w;
}

int lines(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

}  // namespace

TEST(ThreadedWriter, NumericalErrorStopsRightBeforeItsSnpAtAnyThreadCount) {
  const Written one = write_all(fails_numerically_at_9, 1);
  EXPECT_EQ(one.end.job, 9);
  ASSERT_TRUE(one.end.error);
  EXPECT_EQ(lines(one.file), 9);
  EXPECT_EQ(one.file.rfind("rs108"), one.file.find("rs108"));
  EXPECT_EQ(one.file.find("rs109"), std::string::npos);
  for (int threads : {2, 3, 8}) {
    SCOPED_TRACE(threads);
    const Written w = write_all(fails_numerically_at_9, threads);
    EXPECT_EQ(w.end.job, 9);
    EXPECT_EQ(w.file, one.file);
    try {
      std::rethrow_exception(w.end.error);
    } catch (const NumericalError& e) {
      EXPECT_STREQ(e.what(), "Sigmatrix in ludcmp");
    }
  }
}

TEST(ThreadedWriter, AllocationFailureSideBySideIsRetriedAlone) {
  const Written one = write_all(fails_side_by_side_at_7, 1);
  EXPECT_FALSE(one.end.error);
  EXPECT_EQ(lines(one.file), kSnps);
  for (int threads : {2, 3, 8}) {
    SCOPED_TRACE(threads);
    const Written w = write_all(fails_side_by_side_at_7, threads);
    EXPECT_FALSE(w.end.error);
    EXPECT_EQ(w.file, one.file);
  }
  EXPECT_GT(refusals.load(), 0);  // some run did fail side by side and recovered
}
