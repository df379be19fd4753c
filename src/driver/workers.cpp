#include "driver/workers.h"

#include <sched.h>

#include <chrono>
#include <cstdint>
#include <system_error>

#include "analyses/dispatch.h"
#include "design/complete.h"

namespace {

void keep(const std::vector<double>& est, const std::vector<double>& se, const std::vector<int>& index,
          std::vector<double>& b, std::vector<double>& s) {
  b.resize(index.size());
  s.resize(index.size());
  for (std::size_t f = 0; f < index.size(); f++) {
    b[f] = est[static_cast<std::size_t>(index[f])];
    s[f] = se[static_cast<std::size_t>(index[f])];
  }
}

// The window of the SNP at map index e: tags, their genotypes, the dispatcher.
bool analyse_window(int e, int path, const AnalysisInputs& in, WorkerScratch& sc, SnpResult& r) {
  const RunData& d = in.data;
  const StudyData& study = d.study;
  const PanelData& panel = d.panel;
  const SnpMap& map = d.map;
  const int M = in.settings.M;
  const int typed = path == kTypedMissing ? 1 : 0;
  const TagContext ctx{in.settings, d.model, study, panel, map};
  getMD_max(sc.best, e, typed, ctx, sc.ws);
  r.md = sc.best.md;
  r.tags.assign(sc.best.set.begin() + (sc.best.set.empty() ? 0 : 1), sc.best.set.end());
  if (sc.best.md < kNoInformation) {
    r.fail = FailReason{"getMD_max", Check::kNoInformation};
    return false;
  }

  if (sc.geno.rows() != study.n || sc.geno.cols() != M) sc.geno = imatrix(0, study.n - 1, 0, M - 1);
  for (int j = 0; j < M; j++) {
    if (j == 0 && !typed) {
      for (int i = 0; i < study.n; i++) sc.geno[i][0] = kMissingGenotype;
      continue;
    }
    const std::uint8_t* g = study.genotypes(map[sc.best.set[static_cast<std::size_t>(j)]].study);
    for (int i = 0; i < study.n; i++) sc.geno[i][j] = g[i];
  }
  const int ext = typed ? 0 : 1;
  if (ext == 1) {
    if (sc.geno_ex.rows() != panel.ncol || sc.geno_ex.cols() != M) sc.geno_ex = imatrix(0, panel.ncol - 1, 0, M - 1);
    for (int j = 0; j < M; j++) {
      const std::uint8_t* g = panel.genotypes(map[sc.best.set[static_cast<std::size_t>(j)]].panel);
      for (int c = 0; c < panel.ncol; c++) sc.geno_ex[c][j] = g[c];
    }
  }
  Window& w = sc.w;
  w.set_size(M);
  w.design = d.model.design;
  w.mode = d.model.mode;
  w.pH = d.model.pH;
  w.ext = ext;
  w.anal = -1;  // set when the window's design is built
  w.fail = FailReason{};
  double loglik = std::nan("");  // stays so unless the analysis gets to fit
  int iter = -1;
  WindowSample sample;
  const bool ok = A51_A61_A71(sc.est, sc.se, &loglik, &iter, w, sc.geno, sc.geno_ex, d.model, study, sample) == 1;
  r.n = sample.n;
  r.n_cases = sample.cases;
  r.n_controls = sample.controls;
  r.info = sample.info;
  r.built_design = w.anal >= 0;
  r.fail = w.fail;
  r.anal = w.anal;
  r.kk = w.fail.check == Check::kFrequencyNan ? -1 : w.KK;
  r.iter = iter;
  r.loglik = loglik;
  return ok;
}

// The subjects typed at a complete-data SNP, and among them the cases and controls.
void count_typed(const StudyData& study, int snp, int design, SnpResult& r) {
  const std::uint8_t* g = study.genotypes(snp);
  r.n = 0;
  int cases = 0;
  for (int i = 0; i < study.n; i++)
    if (g[i] != kMissingGenotype) {
      r.n++;
      if (design == kCaseControl && study.STATUS[static_cast<std::size_t>(i)] == 1) cases++;
    }
  if (design == kCaseControl) {
    r.n_cases = cases;
    r.n_controls = r.n - cases;
  }
  r.info = 1.0;
}

}  // namespace

void analyse_snp(const SnpJob& job, const AnalysisInputs& in, WorkerScratch& sc, SnpResult& r) {
  const auto started = std::chrono::steady_clock::now();
  try {
    if (job.path == kCompleteData) {
      const int snp = in.data.map[job.e].study;
      r.built_design = true;
      count_typed(in.data.study, snp, in.data.model.design, r);
      if (job.both_traits) {
        r.ok_raw = stan_single(sc.est, sc.se, in.data.study, snp, in.data.model, sc.single, true) == 1;
        r.fail_raw = sc.single.fail;
        if (r.ok_raw) keep(sc.est, sc.se, in.index, r.b_raw, r.s_raw);
      }
      r.ok = stan_single(sc.est, sc.se, in.data.study, snp, in.data.model, sc.single) == 1;
      r.fail = sc.single.fail;
    } else {
      r.ok = analyse_window(job.e, job.path, in, sc, r);
    }
    if (r.ok) keep(sc.est, sc.se, in.index, r.b, r.s);
  } catch (...) {
    r.error = std::current_exception();
  }
  r.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
}

int available_cores() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return 1;
  const int n = CPU_COUNT(&set);
  return n > 0 ? n : 1;
}

WorkerPool::WorkerPool(const SnpPlan& plan, const AnalysisInputs& in, int threads, AnalyseFn analyse)
    : plan_(plan), in_(in), analyse_(analyse), results_(plan.jobs.size()), done_(plan.jobs.size(), 0) {
  if (threads > 1) start(threads);
}

WorkerPool::~WorkerPool() {
  stop();
  join();
}

void WorkerPool::start(int threads) {
  threads_.reserve(static_cast<std::size_t>(threads));
  // Threads the system refuses are done without; with none, wait() analyses each SNP.
  try {
    for (int t = 0; t < threads; t++) threads_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
  }
}

void WorkerPool::join() {
  for (std::thread& t : threads_) t.join();
}

SnpResult& WorkerPool::retry_alone(int j) {
  const auto at = static_cast<std::size_t>(j);
  const int threads = static_cast<int>(threads_.size());
  stop();
  join();
  threads_.clear();
  results_[at] = SnpResult{};
  {
    WorkerScratch scratch;
    analyse_(plan_.jobs[at], in_, scratch, results_[at]);
  }
  if (results_[at].error) return results_[at];
  // SNPs after j that failed side by side are analysed again; the others are kept.
  for (std::size_t k = at + 1; k < done_.size(); k++)
    if (done_[k] && results_[k].error) {
      done_[k] = 0;
      results_[k] = SnpResult{};
    }
  next_ = j + 1;
  stopping_ = false;
  start(threads);
  return results_[at];
}

void WorkerPool::stop() {
  std::lock_guard<std::mutex> lock(mutex_);
  stopping_ = true;
}

void WorkerPool::work() {
  WorkerScratch scratch;
  for (;;) {
    int j;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      while (next_ < static_cast<int>(plan_.jobs.size()) && done_[static_cast<std::size_t>(next_)]) next_++;
      if (stopping_ || next_ >= static_cast<int>(plan_.jobs.size())) return;
      j = next_++;
    }
    SnpResult r;
    analyse_(plan_.jobs[static_cast<std::size_t>(j)], in_, scratch, r);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      results_[static_cast<std::size_t>(j)] = std::move(r);
      done_[static_cast<std::size_t>(j)] = 1;
    }
    ready_.notify_all();
  }
}

SnpResult& WorkerPool::wait(int j) {
  const auto at = static_cast<std::size_t>(j);
  if (threads_.empty()) {
    analyse_(plan_.jobs[at], in_, inline_scratch_, results_[at]);
    return results_[at];
  }
  std::unique_lock<std::mutex> lock(mutex_);
  ready_.wait(lock, [&] { return done_[at] != 0; });
  return results_[at];
}
