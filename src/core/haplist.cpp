#include "core/haplist.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

// The three rejection tests of one SNP, in their fixed order: allele a on the first
// haplotype, b on the second, g the row's code. An unknown code passes the third
// test only; codes such as 3 or negative ones are therefore not "missing" for the
// first two (with 3, allele 1 on the first haplotype is rejected).
inline bool snp_rejects(int g, int a, int b) {
  if (a > g) return true;
  if (g - a == 2) return true;
  if (g >= 0 && g <= 2 && a + b != g) return true;
  return false;
}

// One genotype row condensed for the pair loops. For each allele combination
// (a, b) the haplotype bits of the SNPs that reject it; a pair is compatible when
// none of its bits falls into the mask of its combination. Gives exactly the
// verdict of indicator, one test per pair instead of one per SNP.
struct RowMasks {
  int lo = 0, hi = 0;  // candidate codes lo..hi
  int bad[4] = {0, 0, 0, 0};  // index 2a + b
};

inline RowMasks row_masks(const int* row, int M) {
  RowMasks m;
  for (int j = 0; j < M; j++) {
    const int bit = 1 << (M - 1 - j);
    const int g = row[j];
    for (int a = 0; a <= 1; a++)
      for (int b = 0; b <= 1; b++)
        if (snp_rejects(g, a, b)) m.bad[2 * a + b] |= bit;
    if (g == 2) m.lo += bit;
    if (g != 0) m.hi += bit;
  }
  return m;
}

inline RowMasks row_masks(const Mat<int>& geno, long r, int M) { return row_masks(&geno[r][0], M); }

inline bool accepts(const RowMasks& m, int ha, int hb, int all) {
  const int na = ~ha & all, nb = ~hb & all;
  return ((na & nb & m.bad[0]) | (na & hb & m.bad[1]) | (ha & nb & m.bad[2]) | (ha & hb & m.bad[3])) == 0;
}

// Appends every compatible pair (ha <= hb) of one row, ha ascending, then hb.
inline void append_pairs(std::vector<PairNode>& out, const RowMasks& m, int all) {
  for (int ha = m.lo; ha <= m.hi; ha++)
    for (int hb = ha; hb <= m.hi; hb++)
      if (accepts(m, ha, hb, all)) {
        PairNode p;
        p.h1 = ha;
        p.h2 = hb;
        out.push_back(p);
      }
}

}  // namespace

int indicator(const int* row, int ha, int hb, int M) {
  for (int k = M - 1; k >= 0; k--) {
    const int g = row[M - 1 - k];
    const int a = (ha >> k) & 1, b = (hb >> k) & 1;
    if (snp_rejects(g, a, b)) return 0;
  }
  return 1;
}

namespace {

// For a row of the codes 0, 1, 2 and 9 only, the compatible pairs are written
// out SNP by SNP instead of testing every pair in the candidate range, then put
// in the scan's order (ha ascending, then hb): the same list, found faster.
// Returns false, leaving out untouched, for a row with other codes.
bool append_pairs_direct(std::vector<PairNode>& out, const int* row, int M, std::vector<std::pair<int, int>>& pairs,
                         std::vector<std::pair<int, int>>& next) {
  pairs.assign(1, {0, 0});
  for (int j = 0; j < M; j++) {
    const int g = row[j];
    if (g != 0 && g != 1 && g != 2 && g != 9) return false;
    next.clear();
    for (auto [a, b] : pairs) {
      a <<= 1;
      b <<= 1;
      if (g == 0 || g == 9) next.push_back({a, b});
      if (g == 1 || g == 9) {
        next.push_back({a, b | 1});
        next.push_back({a | 1, b});
      }
      if (g == 2 || g == 9) next.push_back({a | 1, b | 1});
    }
    pairs.swap(next);
  }
  std::sort(pairs.begin(), pairs.end());
  for (const auto& [a, b] : pairs) {
    if (a > b) continue;
    PairNode p;
    p.h1 = a;
    p.h2 = b;
    out.push_back(p);
  }
  return true;
}

}  // namespace

void row_pairs(std::vector<PairNode>& out, const int* row, int M) {
  std::vector<std::pair<int, int>> pairs, next;
  if (!append_pairs_direct(out, row, M, pairs, next)) append_pairs(out, row_masks(row, M), (1 << M) - 1);
}

void makelist(StudyList& list, const Mat<int>& geno, int n, int M) {
  list.clear();
  const int all = (1 << M) - 1;
  std::vector<std::pair<int, int>> pairs, next;
  for (int i = 0; i < n; i++) {
    SubjectNode s;
    s.first = static_cast<int>(list.pairs.size());
    const int* row = &geno[i][0];
    if (!append_pairs_direct(list.pairs, row, M, pairs, next)) append_pairs(list.pairs, row_masks(row, M), all);
    s.last = static_cast<int>(list.pairs.size());
    s.idx = i;
    list.subjects.push_back(s);
  }
}

void makelist_ex(PanelList& list_ex, const Mat<int>& geno, int nTR, int nDU, int nUN, int M) {
  list_ex.clear();
  const int all = (1 << M) - 1;
  // Compatible pairs of one parent, built once per family and reused.
  std::vector<PairNode> par1, par2;

  auto open_family = [&](int type) {
    FamilyNode f;
    f.type = type;
    f.first = static_cast<int>(list_ex.entries.size());
    return f;
  };
  auto close_family = [&](FamilyNode f) {
    f.last = static_cast<int>(list_ex.entries.size());
    list_ex.families.push_back(f);
  };
  auto append_entry = [&](int h1, int h2, int h3, int h4) {
    FamilyEntry e;
    e.h[0] = h1;
    e.h[1] = h2;
    e.h[2] = h3;
    e.h[3] = h4;
    list_ex.entries.push_back(e);
  };

  for (int t = 0; t < nTR; t++) {
    const long r = 3L * t;
    const RowMasks p1 = row_masks(geno, r, M), p2 = row_masks(geno, r + 1, M), ch = row_masks(geno, r + 2, M);
    par1.clear();
    par2.clear();
    append_pairs(par1, p1, all);
    append_pairs(par2, p2, all);
    FamilyNode f = open_family(kTrio);
    for (const PairNode& a : par1)
      for (const PairNode& b : par2)
        if (accepts(ch, a.h1, b.h1, all) || accepts(ch, a.h1, b.h2, all) || accepts(ch, a.h2, b.h1, all) ||
            accepts(ch, a.h2, b.h2, all))
          append_entry(a.h1, a.h2, b.h1, b.h2);
    close_family(f);
  }

  for (int d = 0; d < nDU; d++) {
    const long r = 3L * nTR + 2L * d;
    const RowMasks par = row_masks(geno, r, M), ch = row_masks(geno, r + 1, M);
    par1.clear();
    append_pairs(par1, par, all);
    FamilyNode f = open_family(kDuo);
    for (const PairNode& a : par1)
      for (int h3 = ch.lo; h3 <= ch.hi; h3++)
        if (accepts(ch, a.h1, h3, all) || accepts(ch, a.h2, h3, all)) append_entry(a.h1, a.h2, h3, -1);
    close_family(f);
  }

  for (int u = 0; u < nUN; u++) {
    const long r = 3L * nTR + 2L * nDU + u;
    const RowMasks m = row_masks(geno, r, M);
    par1.clear();
    append_pairs(par1, m, all);
    FamilyNode f = open_family(kSingleton);
    for (const PairNode& a : par1) append_entry(a.h1, a.h2, -1, -1);
    close_family(f);
  }
}

// A haplotype is dropped only when its frequency compares below the threshold, so
// a NaN frequency keeps the entry.
void reduce_list(StudyList& list, double threshold, const double* freq) {
  std::size_t np = 0, ns = 0;
  for (const SubjectNode& s0 : list.subjects) {
    SubjectNode s = s0;
    const std::size_t first = np;
    for (int p = s0.first; p < s0.last; p++) {
      PairNode pair = list.pairs[static_cast<std::size_t>(p)];
      pair.w = 0.0;
      if (freq[pair.h1] < threshold) continue;
      if (freq[pair.h2] < threshold) continue;
      list.pairs[np++] = pair;
    }
    if (np == first) continue;
    s.first = static_cast<int>(first);
    s.last = static_cast<int>(np);
    list.subjects[ns++] = s;
  }
  list.pairs.resize(np);
  list.subjects.resize(ns);
}

void reduce_list_ex(PanelList& list_ex, double threshold, const double* freq) {
  std::size_t ne = 0, nf = 0;
  for (const FamilyNode& f0 : list_ex.families) {
    FamilyNode f = f0;
    const int tested = f0.type == kTrio ? 4 : f0.type == kDuo ? 3 : 2;
    const std::size_t first = ne;
    for (int e = f0.first; e < f0.last; e++) {
      FamilyEntry entry = list_ex.entries[static_cast<std::size_t>(e)];
      entry.w = 0.0;
      bool keep = true;
      for (int k = 0; k < tested && keep; k++)
        if (freq[entry.h[k]] < threshold) keep = false;
      if (keep) list_ex.entries[ne++] = entry;
    }
    if (ne == first) continue;
    f.first = static_cast<int>(first);
    f.last = static_cast<int>(ne);
    list_ex.families[nf++] = f;
  }
  list_ex.entries.resize(ne);
  list_ex.families.resize(nf);
}
