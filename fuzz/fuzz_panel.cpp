// The external panel reader. The input's first line is what follows "PANEL =" in
// the specification file (the counts of trios, duos and singletons, read by the
// model file reader); its length chooses the mode of inheritance. The rest is
// the panel file.
#include <cstdint>
#include <string>
#include <vector>

#include "driver/panel_input.h"
#include "driver/specfile.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t nl = text.find('\n');
  if (nl == std::string::npos) return 0;
  static const char* const kModes[4] = {"additive", "recessive", "dominant", "codominant"};
  const std::string model_text = "DESIGN = case-control\nPANEL = " + text.substr(0, nl) + "\nMODE = " + kModes[nl % 4] +
                           "\nEFFECT = G\nOUTPUT = G\n";
  InputFile pfile(std::string("STATUS\n")), sfile(model_text), efile(text.substr(nl + 1));
  Model model;
  std::vector<std::string> warnings;
  if (!read_header(model, pfile.name(), sfile.name(), 1, warnings).empty()) return 0;

  PanelData panel;
  const std::string verdict = read_panel(efile.name(), model, panel);
  check_verdict(verdict);
  if (!verdict.empty()) return 0;
  const std::size_t nsnp = static_cast<std::size_t>(panel.nsnp);
  if (model.nTR < 0 || model.nDU < 0 || model.nUN < 0 ||
      panel.ncol != 3LL * model.nTR + 2LL * model.nDU + model.nUN || panel.id.size() != nsnp ||
      panel.geno.size() != nsnp * static_cast<std::size_t>(panel.ncol))
    std::abort();
  for (std::uint8_t g : panel.geno)
    if (g > 2 && g != 9) std::abort();
  for (std::size_t s = 1; s < nsnp; s++)
    if (panel.id[s].size() > static_cast<std::size_t>(kMaxWordLength)) std::abort();
  return 0;
}
