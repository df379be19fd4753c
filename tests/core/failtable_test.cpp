// The failure-time table of a cohort window: distinct failure times, the
// tolerance that merges near ties (order-dependent by design), the half-open
// intervals and the record that collects everything else.
#include <gtest/gtest.h>

#include <vector>

#include "core/failtable.h"

namespace {

// A window whose list holds one subject per entry of idx (one pair each); TIME
// and EVENT are looked up through idx, the chains hold list positions.
Window listed(const std::vector<int>& idx) {
  Window w;
  w.design = 2;
  for (int i : idx) {
    SubjectNode s;
    s.first = static_cast<int>(w.list.pairs.size());
    w.list.pairs.push_back(PairNode{});
    s.last = s.first + 1;
    s.idx = i;
    w.list.subjects.push_back(s);
  }
  return w;
}

struct Record {
  double time;
  int count;
  std::vector<int> chain;
};

}  // namespace

TEST(MakeFlist, RecordsTiesAndTheRecordOfEverythingElse) {
  const struct {
    const char* what;
    std::vector<double> time;
    std::vector<int> event;
    std::vector<Record> records;  // 0 .. T; the sentinel T+1 is checked for all
    std::vector<int> idx = {};
  } cases[] = {
      {"no failures: everyone in record 0", {3.0, 1.0, 2.0}, {0, 0, 0}, {{0.0, 1, {0, 1, 2}}}},
      {"failures out of order; censored at a failure time, just below the next, before the first",
       {5.0, 2.0, 8.0, 2.0, 4.999, 8.0, 1.0},
       {1, 1, 1, 0, 0, 0, 0},
       {{0.0, 1, {6}}, {2.0, 1, {1, 3, 4}}, {5.0, 1, {0}}, {8.0, 1, {2, 5}}}},
      {"ties within the tolerance are counted in their record",
       {3.0, 3.0, 4.0, 3.0, 3.0000008, 3.0},
       {1, 1, 1, 0, 1, 1},
       {{0.0, 1, {}}, {3.0, 4, {0, 1, 3, 4, 5}}, {4.0, 1, {2}}}},
      {"near tie, earlier first: one record of two", {10.0, 10.0000005}, {1, 1}, {{0.0, 1, {}}, {10.0, 2, {0, 1}}}},
      {"near tie, later first: the earlier one falls to record 0 uncounted",
       {10.0000005, 10.0},
       {1, 1},
       {{0.0, 1, {1}}, {10.0000005, 1, {0}}}},
      {"near tie, later first, with an earlier failure: counted in that interval",
       {10.0000005, 10.0, 4.0},
       {1, 1, 1},
       {{0.0, 1, {}}, {4.0, 2, {2, 1}}, {10.0000005, 1, {0}}}},
      {"a failure near time 0 ties with record 0", {5e-7, 2.0}, {1, 1}, {{0.0, 1, {0}}, {2.0, 1, {1}}}},
      {"exactly the tolerance away is still a tie", {1e-6, 2.0}, {1, 1}, {{0.0, 1, {0}}, {2.0, 1, {1}}}},
      {"beyond the tolerance", {1.5e-6, 2.0}, {1, 1}, {{0.0, 1, {}}, {1.5e-6, 1, {0}}, {2.0, 1, {1}}}},
      {"times at or beyond the sentinel go to record 0",
       {1000000.0, 3.0, 2500000.0, 999999.5},
       {0, 1, 0, 0},
       {{0.0, 1, {0, 2}}, {3.0, 1, {1, 3}}}},
      {"a failure beyond the sentinel opens an empty interval",
       {3.0, 2000000.0, 2000000.0},
       {1, 1, 0},
       {{0.0, 1, {2}}, {3.0, 1, {0}}, {2000000.0, 1, {1}}}},
      {"every subject failing: more records than subjects",
       {3.0, 1.0, 2.0},
       {1, 1, 1},
       {{0.0, 1, {}}, {1.0, 1, {1}}, {2.0, 1, {2}}, {3.0, 1, {0}}}},
      {"the list lost row 1: positions 0, 1, 2 are rows 0, 2, 3",
       {7.0, 1.0, 3.0, 9.0},
       {0, 1, 1, 0},
       {{0.0, 1, {}}, {3.0, 1, {1, 0, 2}}},
       {0, 2, 3}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<int> idx = c.idx;
    if (idx.empty())
      for (int i = 0; i < static_cast<int>(c.time.size()); i++) idx.push_back(i);
    Window w = listed(idx);
    makeFlist(w, c.time.data(), c.event.data());
    const int T = static_cast<int>(c.records.size()) - 1;
    ASSERT_EQ(w.T, T);
    ASSERT_EQ(w.Fp.size(), static_cast<std::size_t>(T + 2));
    for (int r = 0; r <= T; r++) {
      const FailRecord& f = w.Fp[static_cast<std::size_t>(r)];
      EXPECT_EQ(f.time, c.records[static_cast<std::size_t>(r)].time) << "record " << r;
      EXPECT_EQ(f.count, c.records[static_cast<std::size_t>(r)].count) << "record " << r;
      EXPECT_EQ(f.subjects, c.records[static_cast<std::size_t>(r)].chain) << "record " << r;
    }
    EXPECT_EQ(w.Fp[0].cumhaz, 0.0);
    EXPECT_EQ(w.Fp[0].risksum, 1.0);
    EXPECT_EQ(w.Fp.back().time, 1000000.0);
    EXPECT_EQ(w.Fp.back().count, 0);
    EXPECT_TRUE(w.Fp.back().subjects.empty());

    freeFlist(w);
    EXPECT_TRUE(w.Fp.empty());
    EXPECT_EQ(w.T, 0);
    EXPECT_TRUE(w.list.subjects.empty() && w.list.pairs.empty());
  }
}
