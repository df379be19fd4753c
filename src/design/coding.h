// Coding of one subject's haplotype pair for the regression: the allele of one SNP
// in a haplotype code, the design vector (genetic terms by mode of inheritance,
// covariate terms and products, genetic-by-covariate products, intercept) and the
// gene-environment dependence entries. These run in the innermost loops of every
// likelihood: no allocation, they write only into the caller's vector.
#pragma once

#include "core/window.h"

// The allele (0 or 1) at window position `position` (1 = most significant digit).
int hap_snp(int code, int position, const Window& w);

// Writes the design vector of pattern j and pair (h1, h2) into z[0..]; returns the
// number of entries written.
int Zvec(const Window& w, double* z, int j, int h1, int h2);

// Writes the dependence entries z[q + KK - 1 + d*G + g] for d < pD, g < qq/pD.
void Dvec(const Window& w, double* z, int j, int h1, int h2);
