// The external panel reader. The input's first byte chooses the mode of inheritance,
// the next three the PANEL counts of trios, duos and singletons (0 to 7 each); the
// rest is the panel file.
#include <cstdint>
#include <string>

#include "driver/panel_input.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  Model model;
  model.mode = data[0] % 4 + 1;
  model.nTR = data[1] % 8;
  model.nDU = data[2] % 8;
  model.nUN = data[3] % 8;
  InputFile efile(data + 4, size - 4);
  PanelData panel;
  const std::string verdict = read_panel(efile.name(), model, panel);
  check_verdict(verdict);
  if (!verdict.empty()) return 0;
  const std::size_t nsnp = static_cast<std::size_t>(panel.nsnp);
  if (panel.ncol != 3 * model.nTR + 2 * model.nDU + model.nUN || panel.id.size() != nsnp ||
      panel.geno.size() != nsnp * static_cast<std::size_t>(panel.ncol))
    std::abort();
  for (std::uint8_t g : panel.geno)
    if (g > 2 && g != 9) std::abort();
  for (std::size_t s = 1; s < nsnp; s++)
    if (panel.id[s].size() > static_cast<std::size_t>(kMaxWordLength)) std::abort();
  return 0;
}
