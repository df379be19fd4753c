#include "driver/strand.h"

void turn_panel_snp(PanelData& panel, int snp) {
  std::uint8_t* g = panel.geno.data() + static_cast<std::size_t>(snp) * panel.ncol;
  for (int c = 0; c < panel.ncol; c++)
    if (g[c] != kMissingGenotype) g[c] = static_cast<std::uint8_t>(2 - g[c]);
}

void align_strands(SnpMap& map, const StudyData& study, PanelData& panel, int no_fix, int no_remove) {
  for (int i = 0; i < map.len(); i++) {
    const MapEntry& m = map[i];
    if (m.study >= 0 && m.panel >= 0 && study.strand[m.study] == 1) turn_panel_snp(panel, m.panel);
  }
  if (no_fix) return;
  for (int i = 0; i < map.len(); i++) {
    MapEntry& m = map[i];
    if (m.study < 0 || m.panel < 0) continue;
    const char pa = panel.a1[m.panel], pb = panel.a2[m.panel];
    if (pa != study.a1[m.study]) {
      // Only the first letters are compared; the second and complementarity are not.
      turn_panel_snp(panel, m.panel);
      continue;
    }
    if (!((pa == 'C' && pb == 'G') || (pa == 'A' && pb == 'T'))) continue;
    const double p = panel.freq[m.panel];
    const double s = study.freq[m.study];
    const double d = (s - kAmbiguousPivot) * (p - kAmbiguousPivot);
    if (p <= kAmbiguousLow || p >= kAmbiguousHigh || s <= kAmbiguousLow || s >= kAmbiguousHigh || d >= 0) {
      if (d < 0) turn_panel_snp(panel, m.panel);
    } else if (!no_remove) {
      m.study = -1;
    }
  }
}
