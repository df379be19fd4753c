// Strand alignment of the panel to the study: for every map entry that holds both
// a study SNP and a panel SNP, the panel's genotype codes are turned (g -> 2 - g,
// missing kept) where needed so that both count copies of the same allele, and
// strand-ambiguous SNPs whose alignment cannot be told lose their study SNP.
// Panel frequencies are the ones computed when the panel was read (they are not
// recomputed after a turn), and allele letters are never changed.
#pragma once

#include "model/panel.h"
#include "model/study.h"

// Ambiguous (C/G, A/T) SNPs: frequencies at or beyond these bounds tell the strand.
inline constexpr double kAmbiguousLow = 0.4;
inline constexpr double kAmbiguousHigh = 0.6;
inline constexpr double kAmbiguousPivot = 0.5;

// Turns every code of panel SNP `snp` other than 9 into 2 - code, over all columns.
void turn_panel_snp(PanelData& panel, int snp);

// For each entry with both SNPs: the strand-flag rule (a study flag of 1 turns the
// panel SNP; applied also under no_fix), then, unless no_fix, the check and fix:
// differing first letters turn the panel SNP; panel letters C then G or A then T
// (in that order only) with agreeing first letters are decided by the frequencies,
// and when both lie strictly between kAmbiguousLow and kAmbiguousHigh on opposite
// sides of kAmbiguousPivot the entry loses its study SNP unless no_remove.
void align_strands(SnpMap& map, const StudyData& study, PanelData& panel, int no_fix, int no_remove);
