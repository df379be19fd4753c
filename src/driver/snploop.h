// The per-SNP driver: walks the merged map, analyses every SNP (complete-data fit
// for a fully observed typed SNP, tag search and haplotype analysis otherwise)
// and writes one line per result file.
#pragma once

#include <string>

#include "driver/rundata.h"
#include "driver/settings.h"

inline constexpr double kNoInformation = 1e-06;  // tags telling less than this leave a SNP unanalysed
inline constexpr double kFullyTyped = 1e-06;     // missing fractions below this count as none

// Writes every result file; "" or the error line that stops the run.
std::string run_snps(RunData& data, const RunSettings& settings);
