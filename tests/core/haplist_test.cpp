// Haplotype-pair lists: the compatibility test, the study and panel builders, and
// the pruning of rare haplotypes.
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <tuple>
#include <vector>

#include "core/haplist.h"

namespace {

Mat<int> rows(int M, std::initializer_list<std::initializer_list<int>> r) {
  Mat<int> g = imatrix(0, static_cast<long>(r.size()) - 1, 0, M - 1);
  long i = 0;
  for (const auto& row : r) {
    long j = 0;
    for (int v : row) g[i][j++] = v;
    i++;
  }
  return g;
}

using Pair = std::pair<int, int>;

std::vector<Pair> pairs_of(const StudyList& l, int s) {
  std::vector<Pair> out;
  const SubjectNode& n = l.subjects[static_cast<std::size_t>(s)];
  for (int p = n.first; p < n.last; p++) out.emplace_back(l.pairs[p].h1, l.pairs[p].h2);
  return out;
}

using Combo = std::tuple<int, int, int, int>;

std::vector<Combo> entries_of(const PanelList& l, int f) {
  std::vector<Combo> out;
  const FamilyNode& n = l.families[static_cast<std::size_t>(f)];
  for (int e = n.first; e < n.last; e++) {
    const int* h = l.entries[e].h;
    out.emplace_back(h[0], h[1], h[2], h[3]);
  }
  return out;
}

}  // namespace

// ---- Compatibility ------------------------------------------------------------

TEST(Indicator, MissingAndOddCodesFollowTheThreeTests) {
  const int missing[1] = {9};
  for (int a = 0; a <= 1; a++)
    for (int b = 0; b <= 1; b++) EXPECT_EQ(indicator(missing, a, b, 1), 1);
  // Code 3 fails "g - a = 2" for allele 1 on the first haplotype only.
  const int three[1] = {3};
  EXPECT_EQ(indicator(three, 0, 1, 1), 1);
  EXPECT_EQ(indicator(three, 1, 0, 1), 0);
  EXPECT_EQ(indicator(three, 1, 1, 1), 0);
  // A negative code fails "a > g" for every allele.
  const int negative[1] = {-1};
  EXPECT_EQ(indicator(negative, 0, 0, 1), 0);
}

// ---- Study list ---------------------------------------------------------------

TEST(Makelist, EveryMissingSubjectGetsAllUnorderedPairs) {
  StudyList l;
  makelist(l, rows(5, {{9, 9, 9, 9, 9}}), 1, 5);
  ASSERT_EQ(l.subjects.size(), 1u);
  EXPECT_EQ(l.subjects[0].last - l.subjects[0].first, 32 * 33 / 2);
  // Ascending ha, then hb from ha.
  const std::vector<Pair> p = pairs_of(l, 0);
  EXPECT_EQ(p[0], Pair(0, 0));
  EXPECT_EQ(p[1], Pair(0, 1));
  EXPECT_EQ(p[32], Pair(1, 1));
  EXPECT_EQ(p.back(), Pair(31, 31));
}

TEST(Makelist, HomozygousAndSingleHeterozygousRowsHaveOnePair) {
  StudyList l;
  // 2 0 2 2 0 -> allele 1 at window SNPs 0, 2, 3: 16 + 4 + 2 = 22.
  // 2 1 0 0 0 -> 16 on both haplotypes, 8 on one of them.
  makelist(l, rows(5, {{2, 0, 2, 2, 0}, {2, 1, 0, 0, 0}}), 2, 5);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{22, 22}}));
  EXPECT_EQ(pairs_of(l, 1), std::vector<Pair>({{16, 24}}));
}

TEST(Makelist, SubjectWithoutPairsIsStillListedInRowOrder) {
  StudyList l;
  makelist(l, rows(2, {{0, 0}, {-1, 0}, {2, 2}}), 3, 2);
  ASSERT_EQ(l.subjects.size(), 3u);
  for (int i = 0; i < 3; i++) EXPECT_EQ(l.subjects[i].idx, i);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{0, 0}}));
  EXPECT_TRUE(pairs_of(l, 1).empty());
  EXPECT_EQ(pairs_of(l, 2), std::vector<Pair>({{3, 3}}));
  for (const PairNode& p : l.pairs) EXPECT_EQ(p.w, 0.0);
}

TEST(Makelist, MatchesThePairwiseTestForEveryRowOfOddCodes) {
  // Every row of three SNPs over the codes 0, 1, 2, 9 and the odd 3: the list
  // holds exactly the pairs ha <= hb that indicator accepts, in ascending order.
  const int codes[5] = {0, 1, 2, 9, 3};
  Mat<int> g = imatrix(0, 124, 0, 2);
  for (int r = 0; r < 125; r++) {
    g[r][0] = codes[r / 25];
    g[r][1] = codes[(r / 5) % 5];
    g[r][2] = codes[r % 5];
  }
  StudyList l;
  makelist(l, g, 125, 3);
  ASSERT_EQ(l.subjects.size(), 125u);
  for (int r = 0; r < 125; r++) {
    const int row[3] = {g[r][0], g[r][1], g[r][2]};
    std::vector<Pair> expect;
    for (int a = 0; a < 8; a++)
      for (int b = a; b < 8; b++)
        if (indicator(row, a, b, 3)) expect.emplace_back(a, b);
    EXPECT_EQ(pairs_of(l, r), expect) << "row " << r;
  }
}

TEST(Makelist, RebuildingReplacesTheOldList) {
  StudyList l;
  makelist(l, rows(2, {{9, 9}, {9, 9}}), 2, 2);
  makelist(l, rows(2, {{1, 0}}), 1, 2);
  ASSERT_EQ(l.subjects.size(), 1u);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{0, 2}}));
}

// ---- Panel list ---------------------------------------------------------------

TEST(MakelistEx, TrioKeepsParentPairsThatCanMakeTheChild) {
  // Parent 1 (1,1) is (0,3) or (1,2); parent 2 (0,0) is (0,0); the child (1,0)
  // is (2,0), so parent 1 must carry haplotype 2.
  PanelList l;
  makelist_ex(l, rows(2, {{1, 1}, {0, 0}, {1, 0}}), 1, 0, 0, 2);
  ASSERT_EQ(l.families.size(), 1u);
  EXPECT_EQ(l.families[0].type, kTrio);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{1, 2, 0, 0}}));
}

TEST(MakelistEx, TrioWithUntypedChildKeepsEveryParentalCombination) {
  PanelList l;
  makelist_ex(l, rows(2, {{1, 1}, {1, 0}, {9, 9}}), 1, 0, 0, 2);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{0, 3, 0, 2}, {1, 2, 0, 2}}));
}

TEST(MakelistEx, DuoRunsTheChildsOtherHaplotypeOverItsRange) {
  // Parent (1,0) is (0,2); the child (1,1) is (0,3) or (1,2): from haplotype 0
  // the other is 3, from haplotype 2 the other is 1. Ascending h3.
  PanelList l;
  makelist_ex(l, rows(2, {{1, 0}, {1, 1}}), 0, 1, 0, 2);
  ASSERT_EQ(l.families.size(), 1u);
  EXPECT_EQ(l.families[0].type, kDuo);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{0, 2, 1, -1}, {0, 2, 3, -1}}));
  // An untyped child accepts every code with either parental haplotype.
  makelist_ex(l, rows(2, {{1, 0}, {9, 9}}), 0, 1, 0, 2);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{0, 2, 0, -1}, {0, 2, 1, -1}, {0, 2, 2, -1}, {0, 2, 3, -1}}));
}

TEST(MakelistEx, ChildIsTestedWithTheParentalHaplotypeFirst) {
  // A child coded 3 rejects allele 1 on the first haplotype of the pair tested,
  // which is the one from parent 1 (trio) or the parent (duo).
  PanelList l;
  makelist_ex(l, rows(1, {{2}, {1}, {3}}), 1, 0, 0, 1);
  ASSERT_EQ(l.families.size(), 1u);
  EXPECT_TRUE(entries_of(l, 0).empty());
  makelist_ex(l, rows(1, {{1}, {3}}), 0, 1, 0, 1);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{0, 1, 0, -1}, {0, 1, 1, -1}}));
}

TEST(MakelistEx, FamiliesComeAsTriosDuosSingletonsEvenWhenEmpty) {
  // Trio: parents homozygous 0, child homozygous 2 -> no combination at all.
  PanelList l;
  makelist_ex(l,
              rows(2, {{0, 0}, {0, 0}, {2, 2},  // trio
                       {1, 1}, {1, 2},          // duo
                       {1, 1}, {0, 2}}),        // two singletons
              1, 1, 2, 2);
  ASSERT_EQ(l.families.size(), 4u);
  EXPECT_EQ(l.families[0].type, kTrio);
  EXPECT_TRUE(entries_of(l, 0).empty());
  EXPECT_EQ(l.families[1].type, kDuo);
  EXPECT_EQ(entries_of(l, 1), std::vector<Combo>({{0, 3, 1, -1}, {1, 2, 3, -1}}));
  EXPECT_EQ(l.families[2].type, kSingleton);
  EXPECT_EQ(entries_of(l, 2), std::vector<Combo>({{0, 3, -1, -1}, {1, 2, -1, -1}}));
  EXPECT_EQ(entries_of(l, 3), std::vector<Combo>({{1, 1, -1, -1}}));

  // Pruning removes the empty trio; nothing else is lost at these frequencies.
  const double f[4] = {0.25, 0.25, 0.25, 0.25};
  reduce_list_ex(l, 0.002, f);
  ASSERT_EQ(l.families.size(), 3u);
  EXPECT_EQ(l.families[0].type, kDuo);
  EXPECT_EQ(entries_of(l, 0), std::vector<Combo>({{0, 3, 1, -1}, {1, 2, 3, -1}}));
  EXPECT_EQ(entries_of(l, 2), std::vector<Combo>({{1, 1, -1, -1}}));
}

// ---- Pruning ------------------------------------------------------------------

TEST(ReduceList, ThresholdIsInclusiveAndNaNKeeps) {
  StudyList l;
  // Subject 0: (0,3),(1,2); subject 1: (3,3); subject 2: (0,2).
  makelist(l, rows(2, {{1, 1}, {2, 2}, {1, 0}}), 3, 2);
  for (PairNode& p : l.pairs) p.w = 0.5;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double f[4] = {0.002, 0.00199, nan, 0.5};
  reduce_list(l, 0.002, f);
  // (1,2) goes (its first haplotype is rare); (0,2) keeps the NaN haplotype.
  ASSERT_EQ(l.subjects.size(), 3u);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{0, 3}}));
  EXPECT_EQ(pairs_of(l, 1), std::vector<Pair>({{3, 3}}));
  EXPECT_EQ(pairs_of(l, 2), std::vector<Pair>({{0, 2}}));
  EXPECT_EQ(l.pairs.size(), 3u);
  for (const PairNode& p : l.pairs) EXPECT_EQ(p.w, 0.0);
}

TEST(ReduceList, SecondHaplotypeAloneCanRemoveAPairAndEmptySubjectsGo) {
  StudyList l;
  // Subject 0: (0,1) only; subject 1: (0,0); subject 2: (0,1); subject 3: (1,1).
  makelist(l, rows(2, {{0, 1}, {0, 0}, {0, 1}, {0, 2}}), 4, 2);
  const double f[4] = {0.9, 0.001, 0.05, 0.049};
  reduce_list(l, 0.002, f);
  // The first subject goes, so the list now starts at row 1; row 2 goes too.
  ASSERT_EQ(l.subjects.size(), 1u);
  EXPECT_EQ(l.subjects[0].idx, 1);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{0, 0}}));
  EXPECT_EQ(l.pairs.size(), 1u);
}

TEST(ReduceList, KeepsSubjectFieldsOtherThanTheirRange) {
  StudyList l;
  makelist(l, rows(1, {{9}, {2}}), 2, 1);
  l.subjects[0].stratum = 4;
  l.subjects[1].stratum = 7;
  const double f[2] = {0.001, 0.999};
  reduce_list(l, 0.002, f);
  ASSERT_EQ(l.subjects.size(), 2u);
  EXPECT_EQ(l.subjects[0].stratum, 4);
  EXPECT_EQ(pairs_of(l, 0), std::vector<Pair>({{1, 1}}));
  EXPECT_EQ(l.subjects[1].stratum, 7);
  EXPECT_EQ(pairs_of(l, 1), std::vector<Pair>({{1, 1}}));
  EXPECT_EQ(l.subjects[1].first, 1);
  EXPECT_EQ(l.subjects[1].idx, 1);
}

TEST(ReduceListEx, TestsOnlyTheHaplotypesOfTheFamilyType) {
  PanelList l;
  l.entries.resize(3);
  int combos[3][4] = {{0, 0, 1, 1}, {0, 0, 1, -1}, {0, 1, -1, -1}};
  for (int e = 0; e < 3; e++)
    for (int k = 0; k < 4; k++) l.entries[e].h[k] = combos[e][k];
  l.families = {{kTrio, 0, 1}, {kDuo, 1, 2}, {kSingleton, 2, 3}};
  // Haplotype 1 rare: every family loses its only entry.
  const double rare1[2] = {0.999, 0.001};
  PanelList a = l;
  reduce_list_ex(a, 0.002, rare1);
  EXPECT_TRUE(a.families.empty());
  EXPECT_TRUE(a.entries.empty());
  // The -1 slots are never looked up, so a family survives on its own haplotypes.
  const double fine[2] = {0.5, 0.5};
  PanelList b = l;
  for (FamilyEntry& e : b.entries) e.w = 1.0;
  reduce_list_ex(b, 0.002, fine);
  ASSERT_EQ(b.families.size(), 3u);
  for (const FamilyEntry& e : b.entries) EXPECT_EQ(e.w, 0.0);
}

TEST(ReduceHap, WritesRetainedCodesAscending) {
  const double f[6] = {0.3, 0.00199, 0.002, 0.0, 0.69601, 0.0};
  int out[6] = {-1, -1, -1, -1, -1, -1};
  EXPECT_EQ(reduce_hap(out, f, 0.002, 6), 3);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[1], 2);
  EXPECT_EQ(out[2], 4);
  EXPECT_EQ(out[3], -1);
}
