// The analysis of one planned SNP by a worker, and the pool of workers that
// analyse the planned SNPs side by side. Each worker owns its scratch; the run's
// data is only read. Results are kept per SNP until the writer takes them.
#pragma once

#include <cmath>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include "core/window.h"
#include "design/tags.h"
#include "driver/plan.h"
#include "model/rundata.h"
#include "model/settings.h"

inline constexpr double kNoInformation = 1e-06;  // tags telling less than this leave a SNP unanalysed

// What the writer needs of one SNP's analysis.
struct SnpResult {
  bool ok = false;
  double md = 0.0;                 // untyped SNPs: the tags' information
  std::vector<double> b, s;        // estimate and standard error of each result file's parameter
  bool ok_raw = false;             // both_traits jobs: the fit on the trait as read
  std::vector<double> b_raw, s_raw;
  bool built_design = false;       // the analysis got as far as building its design
  // For the diagnostics file: why the fit (and the fit on the trait as read) failed,
  // the window's tags (map indexes), design class, retained haplotypes, iterations
  // and log-likelihood; -1 and NaN where the analysis did not get that far.
  FailReason fail, fail_raw;
  std::vector<int> tags;
  int anal = -1, kk = -1, iter = -1;
  double loglik = std::nan("");
  // The subjects the analysis rests on (cases and controls: case-control only) and
  // the dosage R² of the SNP's genotypes (1 for complete data); -1 and NaN where
  // the analysis did not get that far.
  int n = -1, n_cases = -1, n_controls = -1;
  double info = std::nan("");
  std::exception_ptr error;        // thrown by the analysis (numerical fatal error, memory)
  double seconds = 0.0;
};

// One worker's scratch, reused from SNP to SNP.
struct WorkerScratch {
  TagWorkspace ws;
  TagChoice best;
  std::vector<double> est, se;
  Window w, single;
  Mat<int> geno, geno_ex;
};

// What every analysis reads.
struct AnalysisInputs {
  const RunData& data;
  const RunSettings& settings;
  const std::vector<int>& index;  // per result file, its parameter in the estimate vector
};

// Analyses one SNP into r. Anything the analysis throws is kept in r.error.
void analyse_snp(const SnpJob& job, const AnalysisInputs& in, WorkerScratch& scratch, SnpResult& r);

// The analysis the workers run for each SNP (analyse_snp in a run).
using AnalyseFn = void (*)(const SnpJob&, const AnalysisInputs&, WorkerScratch&, SnpResult&);

// The number of cores this process may run on (its CPU affinity), at least 1.
int available_cores();

// Workers taking the plan's SNPs in map order, each SNP once; the results are
// handed over through wait(). With one thread nothing runs in the background:
// wait() analyses the SNP itself.
class WorkerPool {
 public:
  WorkerPool(const SnpPlan& plan, const AnalysisInputs& in, int threads, AnalyseFn analyse = analyse_snp);
  ~WorkerPool();  // stops and joins the workers
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // The result of job j once it is analysed; the caller may move it out.
  SnpResult& wait(int j);
  // No further SNP is started; workers finish the one in hand and end.
  void stop();
  // Analyses job j once more on the calling thread, with every worker ended and
  // its scratch released, so that a failure which may come from SNPs analysed
  // side by side (memory) is the one the SNP has alone. Unless it fails again,
  // the workers then go on after j.
  SnpResult& retry_alone(int j);
  // Whether SNPs are analysed in the background.
  bool side_by_side() const { return !threads_.empty(); }

 private:
  void work();
  void start(int threads);
  void join();

  const SnpPlan& plan_;
  const AnalysisInputs& in_;
  AnalyseFn analyse_;
  std::vector<SnpResult> results_;
  std::vector<char> done_;
  int next_ = 0;
  bool stopping_ = false;
  std::mutex mutex_;
  std::condition_variable ready_;
  std::vector<std::thread> threads_;
  WorkerScratch inline_scratch_;
};
