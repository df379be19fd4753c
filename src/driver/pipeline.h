// The run after the command line: model, study and panel input, strand alignment,
// and the per-SNP analyses with their result files.
#pragma once

#include "model/rundata.h"
#include "model/settings.h"

// Reads the model, the study's phenotypes and genotypes and, unless -ne, the panel
// and its phased haplotypes; builds the SNP map, aligns strands and drops
// monomorphic SNPs. Prints the count lines of the run log; a user error stops the
// run inside.
void read_inputs(const RunSettings& settings, RunData& data);

// Runs every stage in order; a user error stops the run inside.
void run_analysis(const RunSettings& settings);
