// The merged map of study and panel SNPs: the merge by position, the link of panel
// SNPs to phased haplotype records, the rule that panel SNPs without haplotypes are
// not used, and the filter of monomorphic SNPs.
#pragma once

#include "model/panel.h"
#include "model/study.h"

// Allele and carrier frequencies at or beyond these bounds make a SNP monomorphic.
inline constexpr double kMonomorphicLow = 1e-06;
inline constexpr double kMonomorphicHigh = 0.999999;

// Walks both SNP lists by position (compared as integers, identifiers not looked
// at): a smaller panel position gives a panel-only entry, equal positions one joint
// entry, a smaller study position a study-only entry; the rest of the longer list
// follows. Haplotype links are -1.
void merge_by_position(const StudyData& study, const PanelData& panel, SnpMap& map);

// Without an external panel: the study SNPs in file order, nothing else.
void map_study_only(const StudyData& study, SnpMap& map);

// For each entry with a panel SNP, the first haplotype record after the last one
// linked so far whose identifier equals the panel SNP's (the search only moves
// forward), or -1. Entries without a panel SNP get -1. Runs in n log n.
void link_haplotypes(const PanelData& panel, SnpMap& map);

// Every entry whose panel SNP has no haplotype record loses its panel SNP.
void drop_unphased(SnpMap& map);

// True when the frequencies mark a monomorphic SNP for the mode of inheritance.
bool is_monomorphic(double freq, double mode_freq, int mode);

// Without -ne (ne == 0) an entry holding only a panel SNP loses it when the panel
// frequencies are monomorphic; otherwise an entry with a study SNP loses it when
// the study frequencies are.
void drop_monomorphic(SnpMap& map, const StudyData& study, const PanelData& panel, int mode, int ne);
