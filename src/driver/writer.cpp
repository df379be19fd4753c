#include "driver/writer.h"

#include <numeric>
#include <utility>

SnpLine snp_line(const RunData& d, const SnpJob& job, double md) {
  const MapEntry& me = d.map[job.e];
  SnpLine line;
  if (job.path == kUntyped) {
    const PanelData& panel = d.panel;
    const auto k = static_cast<std::size_t>(me.panel);
    line.typed = false;
    line.md = md;
    line.id = panel.id[k].c_str();
    line.pos = panel.pos[k];
    line.a1 = panel.a1[k];
    line.a2 = panel.a2[k];
    line.freq = panel.freq[k];
  } else {
    const StudyData& study = d.study;
    const auto s = static_cast<std::size_t>(me.study);
    line.typed = true;
    line.typed_share = 1.0 - study.missing[s];
    line.id = study.id[s].c_str();
    line.pos = study.pos[s];
    line.a1 = study.a1[s];
    line.a2 = study.a2[s];
    line.freq = study.freq[s];
  }
  return line;
}

WriteEnd write_results(const SnpPlan& plan, WorkerPool& pool, const RunData& data, ResultFiles& files,
                       Progress& progress, PathStats* stats) {
  std::vector<int> identity;
  bool design_seen = false;  // some SNP before this one built its design
  int written = 0;
  for (int j = 0; j < static_cast<int>(plan.jobs.size()); j++) {
    const SnpJob& job = plan.jobs[static_cast<std::size_t>(j)];
    SnpResult r = std::move(pool.wait(j));
    if (r.error && pool.side_by_side()) r = std::move(pool.retry_alone(j));
    if (r.error) {
      pool.stop();
      return WriteEnd{j, r.error};
    }
    // The run's first design decides between the trait as read and its 0/1 recoding.
    const bool raw = job.both_traits && !design_seen;
    design_seen = design_seen || r.built_design;
    if (!job.written) continue;
    const bool ok = raw ? r.ok_raw : r.ok;
    const std::vector<double>& b = raw ? r.b_raw : r.b;
    const std::vector<double>& s = raw ? r.s_raw : r.s;
    if (identity.size() != b.size()) {
      identity.resize(b.size());
      std::iota(identity.begin(), identity.end(), 0);
    }
    files.write_snp(snp_line(data, job, r.md), ok, b.data(), s.data(), identity);
    progress.update(++written);
    if (stats) {
      stats->count[job.path]++;
      stats->seconds[job.path] += r.seconds;
    }
  }
  return WriteEnd{};
}
