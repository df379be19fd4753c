// kestrova-prepare's model file reader, then the model check and the text of
// specification.txt. The input's first byte chooses the response kind and the
// covariates given by option; the rest is the model file.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "model.h"
#include "prepare_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  using prepare::Response;
  const unsigned pick = data[0];
  const Response response = pick % 3 == 0 ? Response::Status : pick % 3 == 1 ? Response::TimeEvent : Response::Trait;
  const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
  prepare::ModelRequest req;
  const std::string verdict = prepare::read_model_file(text, "model.txt", req);
  check_verdict_message(verdict);
  if (!verdict.empty()) return 0;

  std::vector<std::string> covariates = prepare::covariates_of(req);
  if ((pick >> 2) & 1u) covariates = {"AGE", "SEX"};
  const std::string checked = prepare::check_model(req, response, covariates);
  check_verdict_message(checked);
  if (!checked.empty()) return 0;
  if (req.effect.empty() || req.output.empty()) std::abort();
  const int panel[3] = {static_cast<int>(pick >> 3) & 3, 1, 2};
  const std::string model_text = prepare::model_file_text(req, (pick >> 5) & 1u ? panel : nullptr);
  if (model_text.empty() || model_text.back() != '\n') std::abort();
  return 0;
}
