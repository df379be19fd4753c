#include "driver/warnings.h"

#include <cmath>

#include "design/readin.h"
#include "driver/fatal.h"

std::vector<std::string> output_index_warnings(const OutputFiles& out) {
  std::vector<std::string> lines;
  for (std::size_t f = 0; f < out.names.size(); f++) {
    const int k = out.index[f], own = out.position[f];
    if (k == own) continue;
    const std::string& held = out.coefficients[static_cast<std::size_t>(k)];
    const std::string& term = out.coefficients[static_cast<std::size_t>(own)];
    lines.push_back(format("Warning: '%s' reports the coefficient of %s, not that of %s: covariate-by-covariate "
                           "product terms earlier in the model do not count in the place of a result file's "
                           "coefficient.\n",
                           out.names[f].c_str(), held.c_str(), term.c_str()));
  }
  return lines;
}

std::vector<std::string> binary_trait_warnings(const Model& model, const StudyData& study) {
  if (model.design != kCrossSectional) return {};
  double seen[3];
  if (trait_values(study, seen) != 2) return {};
  const double lo = std::fmin(seen[0], seen[1]), hi = std::fmax(seen[0], seen[1]);
  std::string line = format("Warning: the trait takes two values (%g and %g): lines of SNPs analysed on their own "
                            "(typed, no missing genotype) are least-squares estimates on the trait coded 0/1, "
                            "while lines of SNPs analysed from haplotypes are log odds ratios",
                            lo, hi);
  // The first SNP analysed on its own before any recoding sees the values as read.
  if (std::fabs(hi - lo - 1.0) >= kPatternTolerance)
    line += format("; if the first SNP analysed is analysed on its own, its line is on the scale of %g and %g", lo,
                   hi);
  line += ".\n";
  return {line};
}

std::vector<std::string> run_warnings(const Model& model, const StudyData& study, const std::string& prefix) {
  std::vector<std::string> lines = output_index_warnings(get_outfile(prefix, model, study.cov.data(), study.n));
  for (std::string& line : binary_trait_warnings(model, study)) lines.push_back(std::move(line));
  return lines;
}
