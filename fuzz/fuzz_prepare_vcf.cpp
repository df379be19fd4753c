// kestrova-prepare's VCF/BCF source: open, then every record with its genotype
// codes and its panel calls. The input is the file (VCF, BCF, plain or bgzipped)
// as an in-memory file. htslib itself is not built with the fuzzer's
// instrumentation, so coverage guidance stops at its entry points; its own error
// returns (and what it prints on standard error) are expected on bad input and
// must only turn into one message, never into a finding.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "input_file.h"
#include "prepare_check.h"
#include "sources.h"

namespace {
bool is_letter(char c) { return c == 'A' || c == 'C' || c == 'G' || c == 'T'; }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  InputFile file(data, size);
  prepare::VcfSource src;
  if (!src.open(file.name())) {
    check_message(src.error);
    return 0;
  }
  const std::size_t n = src.samples().size();
  if (n == 0) std::abort();
  std::vector<int> all(n), founders;
  for (std::size_t i = 0; i < n; i++) {
    all[i] = static_cast<int>(i);
    if (i % 2 == 0) founders.push_back(static_cast<int>(i));
  }
  std::vector<char> codes(n), haps(2 * founders.size());
  while (src.next()) {
    if (src.pos < 1 || src.chrom.empty()) std::abort();
    if (src.alleles == prepare::Skip::None && (!is_letter(src.first) || !is_letter(src.second) || src.first == src.second))
      std::abort();
    if (!src.codes(all, codes.data())) {
      check_message(src.error);
      return 0;
    }
    for (char c : codes)
      if (c != '0' && c != '1' && c != '2' && c != '9') std::abort();
    bool phased = false;
    if (!src.panel_calls(all, founders, codes.data(), haps.data(), phased)) {
      check_message(src.error);
      return 0;
    }
    if (phased)
      for (char h : haps)
        if (h != '0' && h != '1') std::abort();
  }
  if (!src.error.empty()) check_message(src.error);
  return 0;
}
