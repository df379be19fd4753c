#include "driver/plan.h"

int snp_path(const RunData& data, const RunSettings& rs, int e) {
  const MapEntry& me = data.map[e];
  const bool external = rs.ne == 0;
  if (external && me.panel >= 0 && me.study < 0) return kUntyped;
  if (me.study < 0) return kPassedOver;
  if (data.study.missing[static_cast<std::size_t>(me.study)] < kFullyTyped) return kCompleteData;
  if (external && me.hap < 0) return kCompleteData;
  return kTypedMissing;
}

SnpPlan plan_snps(const RunData& data, const RunSettings& rs) {
  const StudyData& study = data.study;
  const SnpMap& map = data.map;
  // Only a two-valued trait whose recoding changes a value makes the order matter.
  const bool raw_differs = data.model.design == kCrossSectional && study.cs_bin == 1 && study.TRAIT_raw != study.TRAIT;

  int first_complete = -1;
  if (raw_differs)
    for (int e = 0; e < map.len() && first_complete < 0; e++)
      if (snp_path(data, rs, e) == kCompleteData) first_complete = e;

  SnpPlan plan;
  const auto in_range = [&](int e) { return map[e].pos >= rs.from && map[e].pos <= rs.to; };
  const bool probe = first_complete >= 0 && in_range(first_complete);
  for (int e = 0; e < map.len(); e++) {
    const int path = snp_path(data, rs, e);
    if (path == kPassedOver) continue;
    SnpJob job;
    job.e = e;
    job.path = path;
    job.written = in_range(e);
    job.both_traits = e == first_complete;
    if (!job.written && !(probe && e < first_complete)) continue;
    plan.jobs.push_back(job);
    if (job.written) plan.written++;
  }
  return plan;
}

std::vector<char> shard_study_snps(const RunData& data, const RunSettings& rs, const SnpPlan& plan) {
  const SnpMap& map = data.map;
  std::vector<char> keep(static_cast<std::size_t>(data.study.nsnp), 0);
  if (plan.jobs.empty()) return keep;
  const int first = plan.jobs.front().e, last = plan.jobs.back().e;
  for (int e = first; e <= last; e++)
    if (map[e].study >= 0) keep[static_cast<std::size_t>(map[e].study)] = 1;
  // The widest reach of any tag search: a SNP with a study genotype (and a phased
  // record when only phased SNPs may be tags) counts; the k-th such SNP from the
  // outermost job is reachable when k <= maxnum and it lies within the window or
  // k <= minnum. A job further in reaches no further out.
  const auto candidate = [&](int e) {
    const MapEntry& m = map[e];
    return m.study >= 0 && !(rs.ne == 0 && m.hap < 0);
  };
  const auto reach = [&](int from, int step) {
    const long long p0 = map[from].pos;
    int k = 0;
    for (int e = from + step; e >= 0 && e < map.len() && k < rs.maxnum; e += step) {
      if (!candidate(e)) continue;
      k++;
      const long long d = step < 0 ? p0 - map[e].pos : map[e].pos - p0;
      if (d > rs.window && k > rs.minnum) break;
      keep[static_cast<std::size_t>(map[e].study)] = 1;
    }
  };
  reach(first, -1);
  reach(last, +1);
  return keep;
}
