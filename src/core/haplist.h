// Haplotype-pair lists of one window: for every study subject the unordered pairs
// of haplotype codes compatible with its genotypes, and for every panel family
// the compatible haplotype combinations. Subjects, pairs and families are kept in
// the order they were built; that order is the order of every later sum.
#pragma once

#include <vector>

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
