// The run after the command line: model, study and panel input, strand alignment,
// and the per-SNP analyses with their result files.
#pragma once

#include "driver/settings.h"

// Runs every stage in order; a user error stops the run inside.
void run_analysis(const RunSettings& settings);
