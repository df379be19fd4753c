// The phenotype reader and the reordering of the covariates. The input's first byte
// chooses the design and which covariates are main effects or genotype-dependent;
// the rest is the phenotype file, whose header also gives the covariate names.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "driver/specfile.h"
#include "driver/study_input.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const char* const kSpecs[3] = {"DESIGN = case-control\nEFFECT = G\nOUTPUT = G\n",
                                        "DESIGN = cohort\nEFFECT = G\nOUTPUT = G\n",
                                        "DESIGN = cross-sectional\nEFFECT = G\nOUTPUT = G\n"};
  const unsigned pick = data[0];
  const std::string model_text = kSpecs[pick % 3];
  InputFile pfile(data + 1, size - 1), sfile(model_text);
  Model model;
  std::vector<std::string> warnings;
  if (!read_header(model, pfile.name(), sfile.name(), 1, warnings).empty()) return 0;
  for (int k = 0; k < model.p; k++) {
    if ((pick >> 2) & (1u << (k % 3))) model.effect[k][k] = 1;
    if ((pick >> 5) & (1u << (k % 3))) model.dep[k] = 'D';
  }

  StudyData study;
  const std::string verdict = read_phenotypes(pfile.name(), model, study);
  check_verdict(verdict);
  if (!verdict.empty()) return 0;
  const std::size_t n = static_cast<std::size_t>(study.n);
  if (study.n > study.n_total || study.used.size() != static_cast<std::size_t>(study.n_total) ||
      study.cov.size() != n * static_cast<std::size_t>(model.p))
    std::abort();
  const std::size_t responses = model.design == kCaseControl ? study.STATUS.size()
                                : model.design == kCohort    ? study.EVENT.size()
                                                             : study.TRAIT.size();
  if (responses != n) std::abort();
  order_dependent_first(model, study);
  for (int k = 1; k < model.p; k++)
    if (model.dep[k - 1] == 'I' && model.dep[k] == 'D') std::abort();
  return 0;
}
