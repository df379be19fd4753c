// The genotype reader. The input's first byte chooses the mode of inheritance, the
// second the number of individuals of the phenotype file (every fifth one from the
// third on excluded); the rest is the genotype file.
#include <cmath>
#include <cstdint>
#include <string>

#include "driver/study_input.h"
#include "input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const int mode = data[0] % 4 + 1;
  StudyData study;
  study.n_total = data[1];
  for (int i = 0; i < study.n_total; i++) {
    const bool use = i % 5 != 2;
    study.used.push_back(use ? 1 : 0);
    study.n += use;
  }
  InputFile gfile(data + 2, size - 2);
  const std::string verdict = read_genotypes(gfile.name(), mode, study);
  check_verdict(verdict);
  if (!verdict.empty()) return 0;
  const std::size_t nsnp = static_cast<std::size_t>(study.nsnp);
  if (study.id.size() != nsnp || study.geno.size() != nsnp * static_cast<std::size_t>(study.n)) std::abort();
  for (std::uint8_t g : study.geno)
    if (g > 2 && g != kMissingGenotype) std::abort();
  for (std::size_t s = 0; s < nsnp; s++)
    if (study.id[s].size() > static_cast<std::size_t>(kMaxWordLength) || study.missing[s] < 0.0 ||
        study.missing[s] > 1.0 || study.freq[s] < 0.0 || study.freq[s] > 1.0)
      std::abort();
  return 0;
}
