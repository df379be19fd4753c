#include "driver/snploop.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "design/outfile.h"
#include "driver/fatal.h"
#include "driver/plan.h"
#include "driver/progress.h"
#include "driver/results.h"
#include "driver/workers.h"

namespace {

// The terms of the result files prefix_term.out.
std::vector<std::string> result_terms(const std::vector<std::string>& names, const std::string& prefix) {
  std::vector<std::string> terms;
  for (const std::string& name : names) terms.push_back(name.substr(prefix.size() + 1, name.size() - prefix.size() - 5));
  return terms;
}

}  // namespace

int worker_count(const RunSettings& rs) { return rs.threads > 0 ? rs.threads : available_cores(); }

std::string run_snps(const RunData& d, const RunSettings& rs, PathStats* stats) {
  const Model& model = d.model;
  const StudyData& study = d.study;
  const PanelData& panel = d.panel;

  OutputFiles out = get_outfile(rs.ofile, model, study.cov.data(), study.n);
  ResultFiles files;
  if (std::string e = files.open(out.names); !e.empty()) return e;
  ResultHeader header;
  header.n = study.n;
  header.study_snps = study.nsnp;
  header.external = rs.ne == 0;
  header.nTR = model.nTR;
  header.nDU = model.nDU;
  header.nUN = model.nUN;
  header.panel_snps = panel.nsnp;
  header.phased = true;  // -h is always in force
  header.haplotype_snps = panel.nhap_snp;
  header.mode = model.mode;
  files.write_header(header);

  DiagFile diag;
  if (!rs.diag.empty())
    if (std::string e = diag.open(rs.diag, result_terms(out.names, rs.ofile)); !e.empty()) return e;

  const auto started = std::chrono::steady_clock::now();
  SnpPlan plan = plan_snps(d, rs);
  if (stats && stats->only_path >= 0) {
    std::erase_if(plan.jobs, [&](const SnpJob& j) { return j.path != stats->only_path; });
    plan.written = static_cast<int>(
        std::count_if(plan.jobs.begin(), plan.jobs.end(), [](const SnpJob& j) { return j.written; }));
  }
  const int threads = worker_count(rs);
  const AnalysisInputs in{d, rs, out.index};
  Progress progress(plan.written);
  WriteEnd end;
  {
    WorkerPool pool(plan, in, threads);
    end = write_results(plan, pool, d, files, progress, stats, diag.is_open() ? &diag : nullptr);
  }  // the workers have ended here
  progress.finish();
  if (stats) {
    stats->wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    stats->threads = threads;
  }
  std::string closed = files.close();
  if (!end.error) return closed.empty() ? diag.finish() : closed;
  try {
    std::rethrow_exception(end.error);
  } catch (const std::bad_alloc&) {
    const SnpLine line = snp_line(d, plan.jobs[static_cast<std::size_t>(end.job)], 0.0);
    return format("Error: not enough memory to analyse SNP %s at position %d.\n", line.id, line.pos);
  }
}
