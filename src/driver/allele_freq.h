// Summaries of one SNP's genotype codes (0, 1, 2 copies of the first allele; 9
// missing): the allele frequency and the share of genotypes that the recessive,
// dominant or codominant coding reads as carriers, over the typed genotypes.
#pragma once

#include <cstdint>

struct AlleleSummary {
  int typed = 0;          // codes other than 9
  double freq = 0.0;      // sum of codes / (2 typed); not a number when nothing is typed
  double mode_freq = 0.0; // recessive, codominant: share of code 2; dominant: share of 1 or 2;
                          // additive: not a number (the additive coding keeps no such share)
};

// Summarises count codes, each 0, 1, 2 or 9, for the mode of inheritance (Mode of
// driver/model.h).
AlleleSummary summarise_alleles(const std::uint8_t* codes, int count, int mode);
