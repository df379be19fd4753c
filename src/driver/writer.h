// The ordered writer: takes the analysed SNPs in map order, as soon as each is
// next in line, and writes its line to every result file.
#pragma once

#include <exception>

#include "driver/plan.h"
#include "driver/progress.h"
#include "driver/results.h"
#include "driver/workers.h"
#include "model/rundata.h"

// SNPs analysed and seconds spent on each path (summed over the workers), for the
// benchmark, which may also have one path alone analysed.
struct PathStats {
  int only_path = -1;  // set by the caller: analyse the SNPs of this path only
  int count[3] = {0, 0, 0};
  double seconds[3] = {0.0, 0.0, 0.0};
  double wall = 0.0;  // seconds from the first SNP started to the last line written
  int threads = 1;
};

// Where the writing stopped: the job whose analysis threw, and what it threw.
struct WriteEnd {
  int job = -1;
  std::exception_ptr error;
};

// The line of job j's SNP, without the estimates.
SnpLine snp_line(const RunData& data, const SnpJob& job, double md);

// Writes the lines of the plan in order. Stops at the first SNP whose analysis
// threw also when analysed alone, writing nothing for it; every line before it
// is written.
WriteEnd write_results(const SnpPlan& plan, WorkerPool& pool, const RunData& data, ResultFiles& files,
                       Progress& progress, PathStats* stats);
