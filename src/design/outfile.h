// Result files and row names: one result file per term named under OUTPUT, with
// the place of the term's first coefficient in the estimate vector, and the
// printable names of a haplotype analysis's parameters.
#pragma once

#include <string>
#include <vector>

#include "core/window.h"
#include "model/model.h"

inline constexpr double kOutfilePatternTolerance = 1e-10;  // covariate values this close are one pattern here

struct OutputFiles {
  std::vector<std::string> names;         // prefix_term.out, one per reported coefficient
  std::vector<int> index;                 // coefficient of each file in the estimate vector
  std::vector<int> position;              // place of each file's own term in the coefficient layout
  std::vector<std::string> coefficients;  // every regression coefficient in layout order ("X1*X2", "G(1)")
  std::vector<std::string> design_names;  // pX covariate column names, then the genetic-term names
  int J = 0;                              // distinct covariate patterns over all subjects
  int pX = 0;                             // covariate design columns
};

// The result files of the model: the covariate design is formed over all n
// subjects (rows of cov, stride model.p) as for a window, then every term whose
// effect entry is 2 gets a file named prefix + "_" + term + ".out", in the order
// of the coefficients (genetic terms, covariate terms with their products,
// covariate-by-genetic products). A product's name joins its two names with "$";
// a codominant genetic term or product gives two files ending in "(1)" and "(2)"
// with consecutive indexes. Covariate product terms do not advance the running
// coefficient index, so terms after them are recorded one place lower per such
// product. No term under OUTPUT gives no file. position holds where each file's
// own term stands, so index and position differ exactly for the files that
// report another term's coefficient.
OutputFiles get_outfile(const std::string& prefix, const Model& model, const double* cov, int n);
