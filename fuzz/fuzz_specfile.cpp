// The specification-file reader: the input's first line is the phenotype file's
// header (where the covariate names come from), the rest is the specification file.
#include <cstdint>
#include <string>
#include <vector>

#include "driver/specfile.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t nl = text.find('\n');
  const std::string header = nl == std::string::npos ? text : text.substr(0, nl + 1);
  const std::string model_text = nl == std::string::npos ? std::string() : text.substr(nl + 1);
  InputFile pfile(header), sfile(model_text);
  for (int ext : {1, 0}) {
    Model model;
    std::vector<std::string> warnings;
    const std::string verdict = read_header(model, pfile.name(), sfile.name(), ext, warnings);
    check_verdict(verdict);
    if (!verdict.empty()) continue;
    // A model read without complaint is consistent.
    if (model.p < 0 || model.pH < 0 || model.p > kMaxCovariates || model.p + model.pH > kMaxEffectNames ||
        model.names.size() != static_cast<std::size_t>(model.p + model.pH) ||
        model.dep.size() != static_cast<std::size_t>(model.p) ||
        model.categorical.size() != static_cast<std::size_t>(model.p))
      std::abort();
    for (int i = 0; i < model.p + model.pH; i++)
      for (int j = 0; j < model.p + model.pH; j++)
        if (model.effect[i][j] != model.effect[j][i] || model.effect[i][j] < 0 || model.effect[i][j] > 2) std::abort();
  }
  return 0;
}
