// The plan of a run's per-SNP work: which map entries are analysed, on which path,
// and which complete-data fit may be the run's first design and so see a
// two-valued cross-sectional trait as read.
#pragma once

#include <vector>

#include "model/rundata.h"
#include "model/settings.h"

inline constexpr double kFullyTyped = 1e-06;  // missing fractions below this count as none

// The analysis path of a map entry; kPassedOver for an entry that is not analysed.
enum SnpPath { kCompleteData = 0, kTypedMissing = 1, kUntyped = 2, kPassedOver = -1 };

struct SnpJob {
  int e = 0;                  // map index
  int path = kCompleteData;
  bool written = true;        // false: analysed only to learn whether it builds a design
  bool both_traits = false;   // fit the trait as read and recoded; the writer picks by what ran before
};

struct SnpPlan {
  std::vector<SnpJob> jobs;   // in map order
  int written = 0;            // jobs that write a line
};

// The path of map entry e: untyped (panel only, with the panel in use), complete
// data (typed without missing genotypes, or without a phased record when only
// phased SNPs may be tags), typed with missing genotypes, or passed over.
int snp_path(const RunData& data, const RunSettings& settings, int e);

// The entries whose position lies in [settings.from, settings.to], in map order.
// Windows of every SNP may draw tags from the whole map. When a two-valued trait
// changes under its 0/1 recoding and the run's first complete-data SNP lies in
// the range, that SNP is fitted both ways and every window before the range is
// analysed unwritten, so the choice is the one the whole run makes.
SnpPlan plan_snps(const RunData& data, const RunSettings& settings);

// Per study SNP, 1 when a window of the plan's jobs can use its genotypes: the
// targets and, on each side of the jobs, the SNPs the tag search can reach (at
// most maxnum usable SNPs, beyond the window distance only the first minnum).
std::vector<char> shard_study_snps(const RunData& data, const RunSettings& settings, const SnpPlan& plan);
