// How well a window tells each study subject's genotype at its target SNP: the
// subjects' posterior expected allele counts and the dosage R² made of them, as
// imputation programs print it.
#pragma once

#include "core/haplist.h"

// The dosage R² of the target (the window's first SNP, the binary digit of weight
// 2^(M-1)) over the subjects of list. Each subject's pairs are weighted by
// c(h1,h2)·f_h1·f_h2 (c = 2 for two different haplotypes, else 1) and give d_i,
// the posterior expected count of allele 1, and e_i, that of its square. Then
//   Info = var(d) / var(g) = sum (d_i - mean d)^2 / sum (e_i - (mean d)^2),
// var(g) estimated by the posterior mean of g_i^2 less (mean d)^2: 1 when every
// subject's count is known, 0 when the tags say nothing of it. NaN for fewer than
// two subjects or a target that does not vary (var(g) = 0).
double dosage_r2(const StudyList& list, const double* freq, int M);
