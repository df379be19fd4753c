// The phased haplotype reader: the input is the haplotype file.
#include <cstdint>
#include <string>

#include "driver/panel_input.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  InputFile hfile(data, size);
  PanelData panel;
  const std::string verdict = read_haplotypes(hfile.name(), panel);
  check_verdict(verdict);
  if (!verdict.empty()) return 0;
  if (panel.hap_id.size() != static_cast<std::size_t>(panel.nhap_snp) ||
      panel.hap.size() != static_cast<std::size_t>(panel.nhap_snp) * static_cast<std::size_t>(panel.nhap))
    std::abort();
  for (std::uint8_t a : panel.hap)
    if (a > 1) std::abort();
  return 0;
}
