// Study data held for the whole run: responses and covariates of the used
// individuals, and per study SNP its description, one byte per genotype and the
// allele frequency, missing fraction and mode-specific frequency.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

inline constexpr std::uint8_t kMissingGenotype = 9;

struct StudyData {
  int n_total = 0;  // individuals in the phenotype file
  int n = 0;        // individuals used in the analysis
  std::vector<char> used;  // per individual of the phenotype file, in file order: 1 used, 0 excluded
  int p = 0;        // covariate columns
  std::vector<int> STATUS;     // case-control: 1 case, 0 control
  std::vector<double> TIME;    // cohort: follow-up time
  std::vector<int> EVENT;      // cohort: 1 failure
  std::vector<double> TRAIT;   // cross-sectional trait, recoded to 0/1 when binary
  std::vector<double> TRAIT_raw;  // cross-sectional trait as read
  int cs_bin = 0;              // cross-sectional: 1 when the trait takes exactly two values
  std::vector<double> cov;     // n rows by p columns; a missing value is NaN
  double covariate(int i, int k) const { return cov[static_cast<std::size_t>(i) * p + k]; }

  int nsnp = 0;
  std::vector<std::string> id;
  std::vector<int> pos;
  std::vector<int> strand;     // 1: panel genotypes count the other allele
  std::vector<char> a1, a2;    // allele letters; codes count copies of a1
  std::vector<double> freq;    // frequency of a1 among typed genotypes
  std::vector<double> missing; // share of used individuals not typed
  std::vector<double> mode_freq;  // recessive/codominant: share of code 2; dominant: codes 1 or 2
  std::vector<std::uint8_t> geno; // kept rows of n codes (0, 1, 2, 9 missing)
  std::vector<int> row;           // per SNP its row of geno, -1 when not kept; empty: every SNP, in order
  const std::uint8_t* genotypes(int snp) const {
    const std::size_t r = row.empty() ? static_cast<std::size_t>(snp) : static_cast<std::size_t>(row[snp]);
    return geno.data() + r * n;
  }
  int kept_rows() const { return n > 0 ? static_cast<int>(geno.size() / static_cast<std::size_t>(n)) : 0; }
};
