// The merged SNP map and the strand alignment, on small hand-built study and panel
// data: merge by position, forward-only haplotype link, the speed rule, the
// monomorphic filter, and each alignment rule.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "driver/model.h"
#include "driver/snpmap.h"
#include "driver/strand.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

void add_study_snp(StudyData& s, const std::string& id, int pos, double freq = 0.3, char a1 = 'A', char a2 = 'G',
                   int strand = 0, double mode_freq = kNaN) {
  s.id.push_back(id);
  s.pos.push_back(pos);
  s.a1.push_back(a1);
  s.a2.push_back(a2);
  s.strand.push_back(strand);
  s.freq.push_back(freq);
  s.mode_freq.push_back(mode_freq);
  s.missing.push_back(0.0);
  s.nsnp++;
}

// Panel SNPs of three columns with the given codes.
void add_panel_snp(PanelData& p, const std::string& id, int pos, double freq = 0.3, char a1 = 'A', char a2 = 'G',
                   std::vector<std::uint8_t> codes = {0, 1, 9}, double mode_freq = kNaN) {
  p.ncol = 3;
  p.id.push_back(id);
  p.pos.push_back(pos);
  p.a1.push_back(a1);
  p.a2.push_back(a2);
  p.freq.push_back(freq);
  p.mode_freq.push_back(mode_freq);
  p.geno.insert(p.geno.end(), codes.begin(), codes.end());
  p.nsnp++;
}

void add_haplotype(PanelData& p, const std::string& id) {
  p.hap_id.push_back(id);
  p.nhap_snp++;
}

struct Entry {
  int pos, study, panel, hap;
  bool operator==(const Entry&) const = default;
};
std::ostream& operator<<(std::ostream& o, const Entry& e) {
  return o << "{" << e.pos << "," << e.study << "," << e.panel << "," << e.hap << "}";
}

std::vector<Entry> entries(const SnpMap& map) {
  std::vector<Entry> out;
  for (int i = 0; i < map.len(); i++) out.push_back({map[i].pos, map[i].study, map[i].panel, map[i].hap});
  return out;
}

std::vector<int> codes(const PanelData& p, int snp) { return {p.genotypes(snp), p.genotypes(snp) + p.ncol}; }

}  // namespace

TEST(SnpMap, MergeJoinsEqualPositionsAndPlacesPanelSnpsBetweenStudySnps) {
  StudyData s;
  add_study_snp(s, "rs1", 100);
  add_study_snp(s, "rs2", 300);
  add_study_snp(s, "rs9", 500);
  PanelData p;
  add_panel_snp(p, "pa", 50);
  add_panel_snp(p, "pb", 200);        // between two study SNPs: untyped entry between them
  add_panel_snp(p, "other-id", 300);  // same position, another identifier: still one entry
  add_panel_snp(p, "pd", 600);
  add_panel_snp(p, "pe", 700);
  SnpMap map;
  merge_by_position(s, p, map);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{50, -1, 0, -1},
                                              {100, 0, -1, -1},
                                              {200, -1, 1, -1},
                                              {300, 1, 2, -1},
                                              {500, 2, -1, -1},
                                              {600, -1, 3, -1},
                                              {700, -1, 4, -1}}));
  EXPECT_EQ(map[-1].pos, kLeftSentinel);
  EXPECT_EQ(map[map.len()].pos, kRightSentinel);
  EXPECT_EQ(map[map.len()].study, -1);

  // The study list running on after the panel ends.
  PanelData short_panel;
  add_panel_snp(short_panel, "x", 100);
  merge_by_position(s, short_panel, map);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, 0, 0, -1}, {300, 1, -1, -1}, {500, 2, -1, -1}}));

  map_study_only(s, map);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, 0, -1, -1}, {300, 1, -1, -1}, {500, 2, -1, -1}}));
  EXPECT_EQ(map[3].pos, kRightSentinel);
}

TEST(SnpMap, HaplotypeLinkOnlyMovesForwardAndTheSpeedRuleDropsUnlinkedPanelSnps) {
  StudyData s;
  add_study_snp(s, "rs2", 200);
  add_study_snp(s, "rs5", 500);
  PanelData p;
  for (auto [id, pos] : std::vector<std::pair<std::string, int>>{{"p1", 100}, {"p2", 200}, {"p3", 300}, {"p4", 400}})
    add_panel_snp(p, id, pos);
  // Records out of panel order: p1's record lies before p3's, p4 has none, and a
  // record the panel does not hold stays unused.
  for (const char* id : {"p2", "zz", "p3", "p1", "p2"}) add_haplotype(p, id);
  SnpMap map;
  merge_by_position(s, p, map);
  link_haplotypes(p, map);
  // p1 finds record 3 (the first p1 after -1); p2 must come after 3: the second p2
  // at 4; p3 lies at 2, before 4: lost; p4 has none.
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, -1, 0, 3}, {200, 0, 1, 4}, {300, -1, 2, -1}, {400, -1, 3, -1},
                                              {500, 1, -1, -1}}));
  drop_unphased(map);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, -1, 0, 3}, {200, 0, 1, 4}, {300, -1, -1, -1},
                                              {400, -1, -1, -1}, {500, 1, -1, -1}}));
}

TEST(SnpMap, ALinkThatFailsDoesNotMoveTheSearchStart) {
  PanelData p;
  add_panel_snp(p, "a", 1);
  add_panel_snp(p, "b", 2);
  add_panel_snp(p, "c", 3);
  for (const char* id : {"a", "c", "x"}) add_haplotype(p, id);
  SnpMap map;
  merge_by_position(StudyData{}, p, map);
  link_haplotypes(p, map);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{1, -1, 0, 0}, {2, -1, 1, -1}, {3, -1, 2, 1}}));
}

TEST(SnpMap, MonomorphicStudySnpsAreDroppedAlsoWithoutPanel) {
  StudyData s;
  add_study_snp(s, "all0", 100, 0.0);
  add_study_snp(s, "ok", 200, 0.3);
  add_study_snp(s, "all2", 300, 1.0);
  add_study_snp(s, "near", 400, 0.9999995);
  add_study_snp(s, "edge", 500, 1e-06);
  SnpMap map;
  map_study_only(s, map);
  drop_monomorphic(map, s, PanelData{}, kAdditive, 1);
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, -1, -1, -1}, {200, 1, -1, -1}, {300, -1, -1, -1},
                                              {400, -1, -1, -1}, {500, 4, -1, -1}}));
}

TEST(SnpMap, MonomorphicFilterTestsThePanelOnlyForUntypedEntries) {
  StudyData s;
  add_study_snp(s, "typed-mono", 100, 0.0);
  add_study_snp(s, "typed-ok", 200, 0.3);
  PanelData p;
  add_panel_snp(p, "joint-mono-panel", 200, 1.0);  // joint: only the study frequency counts
  add_panel_snp(p, "untyped-mono", 300, 0.0);
  add_panel_snp(p, "untyped-ok", 400, 0.5);
  add_panel_snp(p, "joint-with-mono-study", 100, 0.5);
  SnpMap map;
  map.clear();
  map.push({100, 0, 3, -1});
  map.push({200, 1, 0, -1});
  map.push({300, -1, 1, -1});
  map.push({400, -1, 2, -1});
  map.close();
  drop_monomorphic(map, s, p, kAdditive, 0);
  // A typed SNP dropped here leaves its panel SNP to be analysed as untyped.
  EXPECT_EQ(entries(map), (std::vector<Entry>{{100, -1, 3, -1}, {200, 1, 0, -1}, {300, -1, -1, -1},
                                              {400, -1, 2, -1}}));
}

TEST(SnpMap, MonomorphicTestsByModeOfInheritance) {
  // freq fine; the carrier share decides by mode.
  EXPECT_FALSE(is_monomorphic(0.3, kNaN, kAdditive));
  EXPECT_TRUE(is_monomorphic(0.3, 0.0, kRecessive));
  EXPECT_TRUE(is_monomorphic(0.3, 5e-07, kCodominant));
  EXPECT_FALSE(is_monomorphic(0.3, 1.0, kRecessive));
  EXPECT_TRUE(is_monomorphic(0.6, 1.0, kDominant));
  EXPECT_FALSE(is_monomorphic(0.3, 0.0, kDominant));
  EXPECT_TRUE(is_monomorphic(5e-07, 0.5, kDominant));
  // A SNP without typed genotypes has no frequency; it is not taken as monomorphic.
  EXPECT_FALSE(is_monomorphic(kNaN, kNaN, kAdditive));
}

namespace {

// One joint entry of a study SNP and a panel SNP whose three codes are 0, 2, 9.
struct Pair {
  StudyData s;
  PanelData p;
  SnpMap map;
  Pair(char sa, char sb, double sf, char pa, char pb, double pf, int strand = 0) {
    add_study_snp(s, "rs1", 100, sf, sa, sb, strand);
    add_panel_snp(p, "rs1", 100, pf, pa, pb, {0, 2, 9});
    merge_by_position(s, p, map);
  }
  void align(int no_fix = 0, int no_remove = 0) { align_strands(map, s, p, no_fix, no_remove); }
  bool turned() const { return codes(p, 0) == std::vector<int>{2, 0, 9}; }
  bool untouched() const { return codes(p, 0) == std::vector<int>{0, 2, 9}; }
  bool study_kept() const { return map[0].study == 0; }
};

}  // namespace

TEST(Strand, DifferentFirstLettersTurnThePanelOnceAndTheFlagTurnsItAgain) {
  Pair a('A', 'G', 0.3, 'G', 'A', 0.7);
  a.align();
  EXPECT_TRUE(a.turned());
  Pair b('A', 'G', 0.3, 'G', 'A', 0.7, 1);
  b.align();
  EXPECT_TRUE(b.untouched());
  // Only the first letters are compared, the second is not looked at.
  Pair c('A', 'G', 0.3, 'T', 'C', 0.7);
  c.align();
  EXPECT_TRUE(c.turned());
  // Letters and panel frequencies stay as read.
  EXPECT_EQ(c.p.a1[0], 'T');
  EXPECT_EQ(c.p.freq[0], 0.7);
}

TEST(Strand, AmbiguousSnpsAreDecidedByFrequencies) {
  // s = 0.45 and p = 0.55: both near 0.5 on opposite sides; cannot be told.
  Pair removed('A', 'T', 0.45, 'A', 'T', 0.55);
  removed.align();
  EXPECT_FALSE(removed.study_kept());
  EXPECT_EQ(removed.map[0].panel, 0);
  EXPECT_TRUE(removed.untouched());
  Pair kept('A', 'T', 0.45, 'A', 'T', 0.55);
  kept.align(0, 1);
  EXPECT_TRUE(kept.study_kept());
  EXPECT_TRUE(kept.untouched());
  // p = 0.65 is clear of the band and on the other side: turned.
  Pair turned('A', 'T', 0.45, 'A', 'T', 0.65);
  turned.align();
  EXPECT_TRUE(turned.study_kept());
  EXPECT_TRUE(turned.turned());
  // p = 0.48: same side as s, nothing to do.
  Pair same('A', 'T', 0.45, 'A', 'T', 0.48);
  same.align();
  EXPECT_TRUE(same.study_kept());
  EXPECT_TRUE(same.untouched());
  // C then G is ambiguous as well; the band's edges count as clear (0.4 <= s).
  Pair cg('C', 'G', 0.4, 'C', 'G', 0.55);
  cg.align();
  EXPECT_TRUE(cg.study_kept());
  EXPECT_TRUE(cg.turned());
  Pair edge('C', 'G', 0.45, 'C', 'G', 0.6);
  edge.align();
  EXPECT_TRUE(edge.turned());
  // Exactly 0.5 gives d = 0: nothing is turned, nothing removed.
  Pair pivot('A', 'T', 0.5, 'A', 'T', 0.45);
  pivot.align();
  EXPECT_TRUE(pivot.study_kept());
  EXPECT_TRUE(pivot.untouched());
}

TEST(Strand, OnlyCThenGAndAThenTAreAmbiguous) {
  for (auto [a, b] : {std::pair{'T', 'A'}, std::pair{'G', 'C'}, std::pair{'A', 'G'}}) {
    Pair x(a, b, 0.45, a, b, 0.55);
    x.align();
    EXPECT_TRUE(x.study_kept()) << a << b;
    EXPECT_TRUE(x.untouched()) << a << b;
  }
}

TEST(Strand, WithoutFixOnlyTheStrandFlagApplies) {
  Pair letters('A', 'G', 0.3, 'G', 'A', 0.7);
  letters.align(1, 0);
  EXPECT_TRUE(letters.untouched());
  Pair ambiguous('A', 'T', 0.45, 'A', 'T', 0.55);
  ambiguous.align(1, 0);
  EXPECT_TRUE(ambiguous.study_kept());
  Pair flagged('A', 'G', 0.3, 'A', 'G', 0.3, 1);
  flagged.align(1, 0);
  EXPECT_TRUE(flagged.turned());
}

TEST(Strand, FlagTurnComesBeforeTheAmbiguityTestWhichUsesTheFrequenciesAsRead) {
  // The flag turns the panel; the A/T test then still sees p = 0.65 as read and
  // turns it back.
  Pair x('A', 'T', 0.45, 'A', 'T', 0.65, 1);
  x.align();
  EXPECT_TRUE(x.untouched());
}

TEST(Strand, EntriesWithOnlyOneSideAreLeftAlone) {
  StudyData s;
  add_study_snp(s, "rs1", 100, 0.3, 'A', 'G', 1);
  PanelData p;
  add_panel_snp(p, "pa", 200, 0.3, 'G', 'A');
  SnpMap map;
  merge_by_position(s, p, map);
  align_strands(map, s, p, 0, 0);
  EXPECT_EQ(codes(p, 0), (std::vector<int>{0, 1, 9}));
  turn_panel_snp(p, 0);
  EXPECT_EQ(codes(p, 0), (std::vector<int>{2, 1, 9}));
}
