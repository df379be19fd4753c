// Haplotype-pair lists: the compatibility test, the study and panel builders, and
// the pruning of rare haplotypes.
#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <vector>

#include "core/haplist.h"

namespace {

Mat<int> rows(int M, const std::vector<std::vector<int>>& r) {
  Mat<int> g = imatrix(0, static_cast<long>(r.size()) - 1, 0, M - 1);
  for (std::size_t i = 0; i < r.size(); i++)
    for (std::size_t j = 0; j < r[i].size(); j++) g[static_cast<long>(i)][static_cast<long>(j)] = r[i][j];
  return g;
}

using Pairs = std::vector<std::pair<int, int>>;
using Combos = std::vector<std::tuple<int, int, int, int>>;

Pairs pairs_of(const StudyList& l, int s) {
  Pairs out;
  const SubjectNode& n = l.subjects[static_cast<std::size_t>(s)];
  for (int p = n.first; p < n.last; p++) out.emplace_back(l.pairs[p].h1, l.pairs[p].h2);
  return out;
}

Combos entries_of(const PanelList& l, int f) {
  Combos out;
  const FamilyNode& n = l.families[static_cast<std::size_t>(f)];
  for (int e = n.first; e < n.last; e++) {
    const int* h = l.entries[e].h;
    out.emplace_back(h[0], h[1], h[2], h[3]);
  }
  return out;
}

}  // namespace

TEST(Indicator, MissingAndOddCodesFollowTheThreeTests) {
  const int missing[1] = {9}, three[1] = {3}, negative[1] = {-1};
  for (int a = 0; a <= 1; a++)
    for (int b = 0; b <= 1; b++) EXPECT_EQ(indicator(missing, a, b, 1), 1);
  // Code 3 fails "g - a = 2" for allele 1 on the first haplotype only; a negative
  // code fails "a > g" for every allele.
  EXPECT_EQ(indicator(three, 0, 1, 1), 1);
  EXPECT_EQ(indicator(three, 1, 0, 1), 0);
  EXPECT_EQ(indicator(three, 1, 1, 1), 0);
  EXPECT_EQ(indicator(negative, 0, 0, 1), 0);
}

TEST(Makelist, SubjectsInRowOrderWithTheirPairsAscending) {
  StudyList l;
  // All missing: all 32 * 33 / 2 pairs. 2 0 2 2 0: allele 1 at SNPs 0, 2, 3 is
  // 16 + 4 + 2 = 22 twice. 2 1 0 0 0: 16 on both haplotypes, 8 on one. A
  // negative code: no pair, still listed.
  makelist(l, rows(5, {{9, 9, 9, 9, 9}, {2, 0, 2, 2, 0}, {2, 1, 0, 0, 0}, {-1, 0, 0, 0, 0}}), 4, 5);
  ASSERT_EQ(l.subjects.size(), 4u);
  for (int i = 0; i < 4; i++) EXPECT_EQ(l.subjects[i].idx, i);
  const Pairs all = pairs_of(l, 0);
  ASSERT_EQ(all.size(), 32u * 33u / 2u);
  EXPECT_EQ(all[1], std::make_pair(0, 1));
  EXPECT_EQ(all[32], std::make_pair(1, 1));
  EXPECT_EQ(all.back(), std::make_pair(31, 31));
  EXPECT_EQ(pairs_of(l, 1), (Pairs{{22, 22}}));
  EXPECT_EQ(pairs_of(l, 2), (Pairs{{16, 24}}));
  EXPECT_TRUE(pairs_of(l, 3).empty());
  for (const PairNode& p : l.pairs) EXPECT_EQ(p.w, 0.0);

  // Rebuilding replaces the list. Every row of three SNPs over the codes 0, 1, 2,
  // 9 and the odd 3 holds exactly the pairs ha <= hb that indicator accepts.
  const int codes[5] = {0, 1, 2, 9, 3};
  Mat<int> g = imatrix(0, 124, 0, 2);
  for (int r = 0; r < 125; r++) {
    g[r][0] = codes[r / 25];
    g[r][1] = codes[(r / 5) % 5];
    g[r][2] = codes[r % 5];
  }
  makelist(l, g, 125, 3);
  ASSERT_EQ(l.subjects.size(), 125u);
  for (int r = 0; r < 125; r++) {
    const int row[3] = {g[r][0], g[r][1], g[r][2]};
    Pairs expect;
    for (int a = 0; a < 8; a++)
      for (int b = a; b < 8; b++)
        if (indicator(row, a, b, 3)) expect.emplace_back(a, b);
    EXPECT_EQ(pairs_of(l, r), expect) << "row " << r;
  }
}

TEST(MakelistEx, FamilyCombinations) {
  const struct {
    const char* what;
    int M, nTR, nDU, nUN;
    std::vector<std::vector<int>> rows;
    std::vector<Combos> families;
  } cases[] = {
      // Parent 1 (1,1) is (0,3) or (1,2), parent 2 (0,0) is (0,0), the child (1,0)
      // is (2,0): parent 1 must carry haplotype 2.
      {"trio", 2, 1, 0, 0, {{1, 1}, {0, 0}, {1, 0}}, {{{1, 2, 0, 0}}}},
      {"trio, untyped child", 2, 1, 0, 0, {{1, 1}, {1, 0}, {9, 9}}, {{{0, 3, 0, 2}, {1, 2, 0, 2}}}},
      // Parent (1,0) is (0,2); the child (1,1) is (0,3) or (1,2): the child's other
      // haplotype runs over its range, ascending.
      {"duo", 2, 0, 1, 0, {{1, 0}, {1, 1}}, {{{0, 2, 1, -1}, {0, 2, 3, -1}}}},
      {"duo, untyped child", 2, 0, 1, 0, {{1, 0}, {9, 9}},
       {{{0, 2, 0, -1}, {0, 2, 1, -1}, {0, 2, 2, -1}, {0, 2, 3, -1}}}},
      // A child coded 3 rejects allele 1 on the first haplotype of the pair tested,
      // the one from parent 1 (trio) or the parent (duo).
      {"trio, child coded 3", 1, 1, 0, 0, {{2}, {1}, {3}}, {{}}},
      {"duo, child coded 3", 1, 0, 1, 0, {{1}, {3}}, {{{0, 1, 0, -1}, {0, 1, 1, -1}}}},
      {"trios, duos, singletons; an incompatible trio stays, empty",
       2, 1, 1, 2,
       {{0, 0}, {0, 0}, {2, 2}, {1, 1}, {1, 2}, {1, 1}, {0, 2}},
       {{}, {{0, 3, 1, -1}, {1, 2, 3, -1}}, {{0, 3, -1, -1}, {1, 2, -1, -1}}, {{1, 1, -1, -1}}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    PanelList l;
    makelist_ex(l, rows(c.M, c.rows), c.nTR, c.nDU, c.nUN, c.M);
    ASSERT_EQ(l.families.size(), c.families.size());
    for (int f = 0; f < static_cast<int>(c.families.size()); f++) {
      const int type = f < c.nTR ? kTrio : f < c.nTR + c.nDU ? kDuo : kSingleton;
      EXPECT_EQ(l.families[static_cast<std::size_t>(f)].type, type);
      EXPECT_EQ(entries_of(l, f), c.families[static_cast<std::size_t>(f)]) << "family " << f;
    }
  }
}

TEST(ReduceList, ThresholdIsInclusiveNaNKeepsAndEmptySubjectsGo) {
  StudyList l;
  // Subject 0: (0,3),(1,2); subject 1: (3,3); subject 2: (0,2).
  makelist(l, rows(2, {{1, 1}, {2, 2}, {1, 0}}), 3, 2);
  for (PairNode& p : l.pairs) p.w = 0.5;
  l.subjects[1].stratum = 7;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double f[4] = {0.002, 0.00199, nan, 0.5};
  reduce_list(l, 0.002, f);
  // (1,2) goes (its first haplotype is rare); (0,2) keeps the NaN haplotype.
  ASSERT_EQ(l.subjects.size(), 3u);
  EXPECT_EQ(pairs_of(l, 0), (Pairs{{0, 3}}));
  EXPECT_EQ(pairs_of(l, 1), (Pairs{{3, 3}}));
  EXPECT_EQ(pairs_of(l, 2), (Pairs{{0, 2}}));
  EXPECT_EQ(l.pairs.size(), 3u);
  EXPECT_EQ(l.subjects[1].stratum, 7);
  EXPECT_EQ(l.subjects[1].idx, 1);
  for (const PairNode& p : l.pairs) EXPECT_EQ(p.w, 0.0);

  // The second haplotype alone removes a pair; subjects left without pairs go,
  // the first one too, so the list now starts at row 1.
  makelist(l, rows(2, {{0, 1}, {0, 0}, {0, 1}, {0, 2}}), 4, 2);
  const double g[4] = {0.9, 0.001, 0.05, 0.049};
  reduce_list(l, 0.002, g);
  ASSERT_EQ(l.subjects.size(), 1u);
  EXPECT_EQ(l.subjects[0].idx, 1);
  EXPECT_EQ(l.subjects[0].first, 0);
  EXPECT_EQ(pairs_of(l, 0), (Pairs{{0, 0}}));
  EXPECT_EQ(l.pairs.size(), 1u);
}

TEST(ReduceListEx, TestsOnlyTheHaplotypesOfTheFamilyType) {
  // One SNP: a trio (0,0 | 1,1 | 0,1), a duo (0,0 | 0,1) and a singleton (0,1).
  PanelList l;
  makelist_ex(l, rows(1, {{0}, {2}, {1}, {0}, {1}, {1}}), 1, 1, 1, 1);
  ASSERT_EQ(l.entries.size(), 3u);
  // Haplotype 1 rare: every family loses its only entry.
  const double rare1[2] = {0.999, 0.001};
  PanelList a = l;
  reduce_list_ex(a, 0.002, rare1);
  EXPECT_TRUE(a.families.empty());
  EXPECT_TRUE(a.entries.empty());
  // The -1 slots are never looked up, so a family survives on its own haplotypes.
  const double fine[2] = {0.5, 0.5};
  for (FamilyEntry& e : l.entries) e.w = 1.0;
  reduce_list_ex(l, 0.002, fine);
  ASSERT_EQ(l.families.size(), 3u);
  for (const FamilyEntry& e : l.entries) EXPECT_EQ(e.w, 0.0);

  // An empty family (a trio whose child fits neither parent) is removed.
  makelist_ex(l, rows(2, {{0, 0}, {0, 0}, {2, 2}, {1, 1}}), 1, 0, 1, 2);
  reduce_list_ex(l, 0.002, std::vector<double>(4, 0.25).data());
  ASSERT_EQ(l.families.size(), 1u);
  EXPECT_EQ(l.families[0].type, kSingleton);
  EXPECT_EQ(entries_of(l, 0), (Combos{{0, 3, -1, -1}, {1, 2, -1, -1}}));
}
