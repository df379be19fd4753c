// Regional plots: the loci of a term's strongest signals, and the linkage
// disequilibrium (r²) of every SNP around a locus's lead SNP, from the panel's
// phased haplotypes where both SNPs have them, else from the study genotypes.
#pragma once

#include <string>
#include <vector>

#include "report.h"

namespace report {

inline constexpr long long kDefaultFlank = 250000;  // base pairs on each side of a lead SNP

struct Region {
  std::string chr;
  long long from = 0, to = 0;
};

// Parses CHR:FROM-TO; false when the text is not of that form.
bool parse_region(const std::string& text, Region& r);

struct LocusOptions {
  std::vector<Region> regions;  // given regions: the lead is each one's strongest SNP
  int top_loci = -1;            // >= 0: the strongest this many loci, whatever their p
  long long flank = kDefaultFlank;
};

struct Locus {
  Region region;
  const ResultRow* lead = nullptr;
};

// The loci of a term: given regions; or the top_loci strongest leads; or every
// lead below p = 5e-8. A lead is the strongest usable SNP not within flank of a
// stronger lead on its chromosome; its region is lead ± flank.
std::vector<Locus> choose_loci(const TermTable& t, const LocusOptions& o);

// The r² of two allele (or genotype) vectors over the entries where both are
// known (values below 0 are missing); NaN when either does not vary.
double r_squared(const std::vector<signed char>& x, const std::vector<signed char>& y);

struct LdPoint {
  const ResultRow* row = nullptr;
  double r2 = 0.0;        // NaN: not computable
  char source = 0;        // 'p' panel haplotypes, 's' study genotypes, 0 none
};

// r² with the lead of every usable SNP of the locus, from the input files in
// folder (haplotype.dat with external.dat's positions, genotype.dat). Files that
// are missing leave their SNPs without r². Throws ReportError on a line that
// cannot be read.
std::vector<LdPoint> locus_ld(const TermTable& t, const Locus& l, const std::string& folder);

}  // namespace report
