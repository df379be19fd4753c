// Haplotype-pair lists of one window: for every study subject the unordered pairs
// of haplotype codes compatible with its genotypes, and for every panel family
// the compatible haplotype combinations. Subjects, pairs and families are kept in
// the order they were built; that order is the order of every later sum.
#pragma once

#include <vector>

#include "core/arrays.h"

// One compatible pair (h1 <= h2) of a study subject.
struct PairNode {
  int h1 = 0, h2 = 0;
  double w = 0.0;     // posterior weight under the estimated frequencies
  double aw = 0.0;    // posterior weight under the analysis's current model
  double work = 0.0;  // working value of the analyses
};

// One study subject: its pairs are list.pairs[first .. last-1].
struct SubjectNode {
  int first = 0, last = 0;
  int idx = 0;        // row of the subject in the window's genotype matrix
  int stratum = 0;    // covariate pattern, set by the design
  double work = 0.0;  // working value of the analyses
};

struct StudyList {
  std::vector<SubjectNode> subjects;
  std::vector<PairNode> pairs;
  void clear() {
    subjects.clear();
    pairs.clear();
  }
};

// One haplotype combination of a panel family; -1 where the type has no such haplotype.
struct FamilyEntry {
  int h[4] = {-1, -1, -1, -1};
  double w = 0.0;
};

enum FamilyType { kSingleton = 1, kDuo = 2, kTrio = 3 };

// One panel family: its entries are list_ex.entries[first .. last-1].
struct FamilyNode {
  int type = kSingleton;
  int first = 0, last = 0;
};

struct PanelList {
  std::vector<FamilyNode> families;
  std::vector<FamilyEntry> entries;
  void clear() {
    families.clear();
    entries.clear();
  }
};

// ---- Building, pruning and releasing the lists --------------------------------
// Genotype rows hold M codes in window order (0, 1, 2 copies of allele 1; any
// other value is missing). Haplotype codes have the window's first SNP as their
// most significant of M binary digits.

// 1 when the pair (ha, hb) can explain the genotype row, else 0.
int indicator(const int* row, int ha, int hb, int M);

// Study list for rows 0..n-1 of geno (n rows by M columns, base 0): every subject,
// in row order, with its compatible pairs ha <= hb in ascending order.
void makelist(StudyList& list, const Mat<int>& geno, int n, int M);

// Appends the compatible pairs (ha <= hb, ascending) of one genotype row of M codes:
// the pairs makelist lists for a subject with that row.
void row_pairs(std::vector<PairNode>& out, const int* row, int M);

// Panel list from the panel's genotype rows: 3 rows per trio (parent 1, parent 2,
// child), then 2 per duo (parent, child), then 1 per singleton.
void makelist_ex(PanelList& list_ex, const Mat<int>& geno, int nTR, int nDU, int nUN, int M);

// Drop every pair holding a haplotype whose frequency is below threshold (a NaN
// frequency keeps it), then every subject or family left without entries.
// Posterior weights are reset to 0.
void reduce_list(StudyList& list, double threshold, const double* freq);
void reduce_list_ex(PanelList& list_ex, double threshold, const double* freq);
