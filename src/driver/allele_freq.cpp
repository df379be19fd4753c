#include "driver/allele_freq.h"

#include <limits>

#include "model/model.h"
#include "model/study.h"

AlleleSummary summarise_alleles(const std::uint8_t* codes, int count, int mode) {
  // Counts of each code, branch-free and in runs of at most 255 codes with byte
  // counters, so that the loop runs on whole vectors of bytes.
  constexpr int kRun = 255;
  int ones = 0, twos = 0, missing = 0;
  for (int start = 0; start < count; start += kRun) {
    const int stop = count - start < kRun ? count : start + kRun;
    std::uint8_t run_ones = 0, run_twos = 0, run_missing = 0;
    for (int i = start; i < stop; i++) {
      const std::uint8_t g = codes[i];
      run_ones = static_cast<std::uint8_t>(run_ones + (g == 1));
      run_twos = static_cast<std::uint8_t>(run_twos + (g == 2));
      run_missing = static_cast<std::uint8_t>(run_missing + (g == kMissingGenotype));
    }
    ones += run_ones;
    twos += run_twos;
    missing += run_missing;
  }
  const int typed = count - missing;
  const long long sum = ones + 2LL * twos;
  const int carriers = ones + twos;
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
