#include "driver/plan.h"

int snp_path(const RunData& data, const RunSettings& rs, int e) {
  const MapEntry& me = data.map[e];
  const bool external = rs.ne == 0;
  if (external && me.panel >= 0 && me.study < 0) return kUntyped;
  if (me.study < 0) return kPassedOver;
  if (data.study.missing[static_cast<std::size_t>(me.study)] < kFullyTyped) return kCompleteData;
  if (external && rs.h && rs.speed && me.hap < 0) return kCompleteData;
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
