// The run configuration: file names, switches and the tag-search limits, set once
// from the command line and read by every later stage.
#pragma once

#include <string>

inline constexpr long long kNoLowerBound = -(1LL << 40);
inline constexpr long long kNoUpperBound = 1LL << 40;

struct RunSettings {
  std::string sfile = "specification.txt";  // model specification
  std::string pfile = "phenotype.dat";      // study phenotypes
  std::string gfile = "genotype.dat";       // study genotypes
  std::string efile = "external.dat";       // external panel genotypes
  std::string hfile = "haplotype.dat";      // phased haplotypes of the panel
  std::string ofile = "results";            // prefix of the result files

  int ne = 0;         // no external panel
  int no_fix = 0;     // skip the check and fix of strand alignment
  int no_remove = 0;  // keep strand-ambiguous SNPs that cannot be aligned

  int M = 5;           // SNPs per analysis window: the target and M-1 tags
  int window = 50000;  // distance in base pairs within which tags are sought
  int maxnum = 20;     // most candidate tags taken
  int minnum = 8;      // candidate tags always taken, whatever their distance

  int threads = 0;                   // workers analysing SNPs side by side; 0: the cores the process may use
  long long from = kNoLowerBound;    // first base-pair position analysed (inclusive)
  long long to = kNoUpperBound;      // last base-pair position analysed (inclusive)
  std::string diag;                  // diagnostics file: one row per analysed SNP; "" for none
};

// Tag counts the haplotype analyses can carry (window of tags+1 SNPs, 2^(tags+1) haplotypes).
inline constexpr int kMinTags = 1;
inline constexpr int kMaxTags = 8;
