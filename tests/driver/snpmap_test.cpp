// The merged SNP map and the strand alignment on small hand-built data: merge by
// position, the forward-only haplotype link with the speed rule, the monomorphic
// filter, and each alignment rule.
#include <gtest/gtest.h>

#include <cmath>

#include "model/model.h"
#include "driver/snpmap.h"
#include "driver/strand.h"

namespace {

void add_study_snp(StudyData& s, int pos, double freq = 0.3, char a1 = 'A', char a2 = 'G', int strand = 0) {
  s.pos.push_back(pos), s.freq.push_back(freq), s.mode_freq.push_back(NAN);
  s.a1.push_back(a1), s.a2.push_back(a2), s.strand.push_back(strand);
  s.nsnp++;
}

// Panel SNPs of three columns holding 0, 2, 9.
void add_panel_snp(PanelData& p, const std::string& id, int pos, double freq = 0.3, char a1 = 'A', char a2 = 'G') {
  p.ncol = 3;
  p.id.push_back(id), p.pos.push_back(pos), p.freq.push_back(freq), p.mode_freq.push_back(NAN);
  p.a1.push_back(a1), p.a2.push_back(a2);
  p.geno.insert(p.geno.end(), {0, 2, 9});
  p.nsnp++;
}

// Each entry as {position, study, panel, haplotype record}.
std::vector<std::array<int, 4>> entries(const SnpMap& map) {
  std::vector<std::array<int, 4>> out;
  for (int i = 0; i < map.len(); i++) out.push_back({map[i].pos, map[i].study, map[i].panel, map[i].hap});
  return out;
}

using Entries = std::vector<std::array<int, 4>>;

}  // namespace

TEST(SnpMap, MergeByPositionWithSentinels) {
  StudyData s;
  for (int pos : {100, 300, 500}) add_study_snp(s, pos);
  PanelData p;
  // 200 lies between two study SNPs; 300 has another identifier than the study SNP.
  for (auto [id, pos] : {std::pair{"pa", 50}, {"pb", 200}, {"other-id", 300}, {"pd", 600}}) add_panel_snp(p, id, pos);
  SnpMap map;
  merge_by_position(s, p, map);
  EXPECT_EQ(entries(map), (Entries{{50, -1, 0, -1}, {100, 0, -1, -1}, {200, -1, 1, -1}, {300, 1, 2, -1},
                                   {500, 2, -1, -1}, {600, -1, 3, -1}}));
  EXPECT_EQ(map[-1].pos, kLeftSentinel);
  EXPECT_EQ(map[map.len()].pos, kRightSentinel);

  map_study_only(s, map);
  EXPECT_EQ(entries(map), (Entries{{100, 0, -1, -1}, {300, 1, -1, -1}, {500, 2, -1, -1}}));
  EXPECT_EQ(map[3].pos, kRightSentinel);
}

TEST(SnpMap, HaplotypeLinkOnlyMovesForwardAndUnlinkedPanelSnpsAreDropped) {
  StudyData s;
  add_study_snp(s, 200);
  PanelData p;
  for (auto [id, pos] : {std::pair{"p1", 100}, {"p2", 200}, {"p3", 300}, {"p4", 400}, {"p5", 500}, {"p6", 600}})
    add_panel_snp(p, id, pos);
  // p1 finds record 3; p2 then needs a record after 3: the second p2 at 4; p3's
  // record lies before: lost; p4 has none, and a miss does not move the start, so
  // p5 still finds record 5; p6 has no record after 5.
  p.hap_id = {"p2", "p6", "p3", "p1", "p2", "p5", "zz"};
  p.nhap_snp = 7;
  SnpMap map;
  merge_by_position(s, p, map);
  link_haplotypes(p, map);
  EXPECT_EQ(entries(map), (Entries{{100, -1, 0, 3}, {200, 0, 1, 4}, {300, -1, 2, -1}, {400, -1, 3, -1},
                                   {500, -1, 4, 5}, {600, -1, 5, -1}}));
  drop_unphased(map);
  EXPECT_EQ(entries(map), (Entries{{100, -1, 0, 3}, {200, 0, 1, 4}, {300, -1, -1, -1}, {400, -1, -1, -1},
                                   {500, -1, 4, 5}, {600, -1, -1, -1}}));
}

TEST(SnpMap, MonomorphicSnpsAreDroppedWithAndWithoutPanel) {
  StudyData s;
  for (double f : {0.0, 0.3, 1.0, 0.9999995, 1e-06}) add_study_snp(s, 100 * s.nsnp + 100, f);
  SnpMap map;
  map_study_only(s, map);
  drop_monomorphic(map, s, PanelData{}, kAdditive, 1);
  EXPECT_EQ(entries(map), (Entries{{100, -1, -1, -1}, {200, 1, -1, -1}, {300, -1, -1, -1}, {400, -1, -1, -1},
                                   {500, 4, -1, -1}}));

  // With a panel: only untyped entries are judged by the panel; a typed SNP dropped
  // here leaves its panel SNP to be analysed as untyped.
  PanelData p;
  for (auto [pos, f] : {std::pair{100, 1.0}, {200, 0.0}, {300, 0.5}, {350, 0.0}, {360, 0.5}})
    add_panel_snp(p, "p", pos, f);
  merge_by_position(s, p, map);
  drop_monomorphic(map, s, p, kAdditive, 0);
  EXPECT_EQ(entries(map), (Entries{{100, -1, 0, -1}, {200, 1, 1, -1}, {300, -1, 2, -1}, {350, -1, -1, -1},
                                   {360, -1, 4, -1}, {400, -1, -1, -1}, {500, 4, -1, -1}}));
  // The carrier share decides by mode.
  EXPECT_TRUE(is_monomorphic(0.3, 0.0, kRecessive));
  EXPECT_TRUE(is_monomorphic(0.3, 5e-07, kCodominant));
  EXPECT_TRUE(is_monomorphic(0.6, 1.0, kDominant));
  EXPECT_FALSE(is_monomorphic(0.3, 0.0, kDominant));
}

namespace {

// One joint entry of a study SNP and a panel SNP; reports what alignment did.
std::string align(char sa, char sb, double sf, char pa, char pb, double pf, int strand = 0, int no_fix = 0,
                  int no_remove = 0) {
  StudyData s;
  add_study_snp(s, 100, sf, sa, sb, strand);
  PanelData p;
  add_panel_snp(p, "rs1", 100, pf, pa, pb);
  SnpMap map;
  merge_by_position(s, p, map);
  align_strands(map, s, p, no_fix, no_remove);
  EXPECT_EQ(p.freq[0], pf);  // not recomputed
  EXPECT_EQ(p.a1[0], pa);    // letters never changed
  std::string what = p.geno == std::vector<std::uint8_t>{2, 0, 9} ? "turned" : "as read";
  return map[0].study < 0 ? what + ", study removed" : what;
}

}  // namespace

TEST(Strand, FirstLettersAndTheStrandFlag) {
  EXPECT_EQ(align('A', 'G', 0.3, 'G', 'A', 0.7), "turned");
  EXPECT_EQ(align('A', 'G', 0.3, 'G', 'A', 0.7, 1), "as read");  // turned twice
  EXPECT_EQ(align('A', 'G', 0.3, 'T', 'C', 0.7), "turned");      // second letters not looked at
  EXPECT_EQ(align('A', 'G', 0.3, 'A', 'G', 0.7), "as read");
  // Under -no_fix only the flag counts.
  EXPECT_EQ(align('A', 'G', 0.3, 'G', 'A', 0.7, 0, 1), "as read");
  EXPECT_EQ(align('A', 'G', 0.3, 'A', 'G', 0.3, 1, 1), "turned");
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.55, 0, 1), "as read");
}

TEST(Strand, AmbiguousSnpsAreDecidedByFrequencies) {
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.55), "as read, study removed");
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.55, 0, 0, 1), "as read");  // -no_remove
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.65), "turned");
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.48), "as read");
  EXPECT_EQ(align('C', 'G', 0.4, 'C', 'G', 0.55), "turned");  // the band's edges are clear
  EXPECT_EQ(align('C', 'G', 0.45, 'C', 'G', 0.6), "turned");
  EXPECT_EQ(align('A', 'T', 0.5, 'A', 'T', 0.45), "as read");  // d = 0
  // The flag turns first; the test then still sees p = 0.65 as read and turns back.
  EXPECT_EQ(align('A', 'T', 0.45, 'A', 'T', 0.65, 1), "as read");
  // Only C then G and A then T are ambiguous.
  EXPECT_EQ(align('T', 'A', 0.45, 'T', 'A', 0.55), "as read");
  EXPECT_EQ(align('G', 'C', 0.45, 'G', 'C', 0.55), "as read");
}
