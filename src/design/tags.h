// Choice of tag SNPs for one target SNP: the nearest usable SNPs around it form
// the candidates, every set of M-1 candidates is scored by how much the
// haplotypes of the set tell about the target's allele, and the best set wins.
#pragma once

#include <vector>

#include "core/freq.h"
#include "core/window.h"
#include "model/model.h"
#include "model/panel.h"
#include "model/settings.h"
#include "model/study.h"

inline constexpr double kMdGoodEnough = 0.989999;  // a set scoring this well ends the search
inline constexpr double kMdMargin = 1e-06;         // a later set must beat the best by more than this
inline constexpr double kMdMonomorphic = 1e-06;    // target allele frequencies this close to 0 or 1 score 0

// Everything the search reads; nothing of it is changed.
struct TagContext {
  const RunSettings& settings;
  const Model& model;
  const StudyData& study;
  const PanelData& panel;
  const SnpMap& map;
};

// Scratch storage reused from set to set and from SNP to SNP.
struct TagWorkspace {
  Window w;
  Mat<int> geno;
  std::vector<double> freq;
  std::vector<int> candidates, combination, set, codes;
  // Study rows of the sets: the subjects taking part grouped by their keys over
  // the SNPs but the last (and which SNPs they cover), the pairs of each row key
  // met so far, and the counted rows of the current set.
  const StudyData* prefix_study = nullptr;
  std::vector<int> prefix_set, taking, keys, prefix_group, group_key, group_of_key, group_count;  // taking: subjects taking part
  std::vector<int> key_first, key_count, row_codes;
  std::vector<PairNode> key_pairs;
  CountedRows rows;
};

// Best set (map indexes, the target first, M entries) and its measure; the
// measure stays 0 when no set scored above 0 (then the set is the target alone).
struct TagChoice {
  std::vector<int> set;
  double md = 0.0;
};

// Chooses the tags of the target at map index s; typed is 1 when the target is
// typed in the study (its tags then come from the study; else from the panel).
void getMD_max(TagChoice& best, int s, int typed, const TagContext& ctx, TagWorkspace& ws);

// Measure of one set of M map indexes (the target first).
double getMD(const std::vector<int>& set, int typed, const TagContext& ctx, TagWorkspace& ws);

// The information measure of haplotype frequencies p[0..2^M-1] about the allele at
// window position t (1 = the most significant digit).
double MDfun(const double* p, int t, int M);

// The M-digit haplotype code with allele a at position t and the M-1 digits of c
// filling the other positions in their order.
int for_w(int c, int a, int t, int M);
