// The per-SNP driver: plans the walk of the merged map, has the planned SNPs
// analysed side by side (complete-data fit for a fully observed typed SNP, tag
// search and haplotype analysis otherwise) and writes one line per result file
// in map order.
#pragma once

#include <string>

#include "driver/writer.h"
#include "model/rundata.h"
#include "model/settings.h"

// The number of workers for settings.threads (0: the cores the process may use).
int worker_count(const RunSettings& settings);

// Writes every result file; "" or the error line that stops the run. A numerical
// fatal error of an analysis is thrown on as NumericalError once every line
// before its SNP is written and the files are closed. With stats, also counts and
// times the SNPs of each path.
std::string run_snps(const RunData& data, const RunSettings& settings, PathStats* stats = nullptr);
