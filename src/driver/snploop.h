// The per-SNP driver: walks the merged map, analyses every SNP (complete-data fit
// for a fully observed typed SNP, tag search and haplotype analysis otherwise)
// and writes one line per result file.
#pragma once

#include <string>

#include "model/rundata.h"
#include "model/settings.h"

inline constexpr double kNoInformation = 1e-06;  // tags telling less than this leave a SNP unanalysed
inline constexpr double kFullyTyped = 1e-06;     // missing fractions below this count as none

// SNPs analysed and seconds spent on each path, for the benchmark.
enum SnpPath { kCompleteData = 0, kTypedMissing = 1, kUntyped = 2 };
struct PathStats {
  int count[3] = {0, 0, 0};
  double seconds[3] = {0.0, 0.0, 0.0};
};

// Writes every result file; "" or the error line that stops the run. With stats,
// also counts and times the SNPs of each path.
std::string run_snps(RunData& data, const RunSettings& settings, PathStats* stats = nullptr);
