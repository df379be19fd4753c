// The run after the command line: model, study and panel input, strand alignment,
// and the per-SNP analyses with their result files.
#pragma once

#include "model/rundata.h"
#include "model/settings.h"

// Reads the model, the study's phenotypes and genotypes and, unless -ne, the panel
// and its phased haplotypes; builds the SNP map, aligns strands and drops
// monomorphic SNPs; classifies a cross-sectional trait. Prints the count lines of
// the run log; a user error stops the run inside. The data is only read afterwards.
void read_inputs(const RunSettings& settings, RunData& data);

// Runs every stage in order; a user error stops the run inside, a numerical fatal
// error is thrown on as NumericalError.
void run_analysis(const RunSettings& settings);
