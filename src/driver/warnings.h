// Warnings about rules of the result files that the program keeps on purpose but
// that can mislead a reader. Each routine returns its "Warning: ..." lines (with
// their newlines) and prints nothing; none changes a result.
#pragma once

#include <string>
#include <vector>

#include "design/outfile.h"
#include "model/model.h"
#include "model/study.h"

// One line per result file whose recorded coefficient is not its own term's:
// covariate-by-covariate product terms do not advance the running coefficient
// index, so an OUTPUT term after them reports an earlier coefficient.
std::vector<std::string> output_index_warnings(const OutputFiles& out);

// One line when a cross-sectional trait takes exactly two values: SNPs analysed
// on their own are fitted by least squares, windows by logistic regression.
std::vector<std::string> binary_trait_warnings(const Model& model, const StudyData& study);

// All warnings of a run whose result files are named from prefix, in the order
// they are printed.
std::vector<std::string> run_warnings(const Model& model, const StudyData& study, const std::string& prefix);
