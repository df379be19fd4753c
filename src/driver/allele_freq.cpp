#include "driver/allele_freq.h"

#include <limits>

#include "driver/model.h"
#include "driver/study.h"

AlleleSummary summarise_alleles(const std::uint8_t* codes, int count, int mode) {
  long long sum = 0;
  int typed = 0, twos = 0, carriers = 0;
  for (int i = 0; i < count; i++) {
    std::uint8_t g = codes[i];
    if (g == kMissingGenotype) continue;
    sum += g;
    typed++;
    twos += (g == 2);
    carriers += (g >= 1);
  }
  const double nan = std::numeric_limits<double>::quiet_NaN();
  AlleleSummary s;
  s.typed = typed;
  s.freq = typed > 0 ? static_cast<double>(sum) / (2.0 * typed) : nan;
  if (mode == kRecessive || mode == kCodominant)
    s.mode_freq = typed > 0 ? static_cast<double>(twos) / typed : nan;
  else if (mode == kDominant)
    s.mode_freq = typed > 0 ? static_cast<double>(carriers) / typed : nan;
  else
    s.mode_freq = nan;
  return s;
}
