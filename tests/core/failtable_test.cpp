// The failure-time table of a cohort window: distinct failure times, the
// tolerance that merges near ties (order-dependent by design), the half-open
// intervals and the record that collects everything else.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "core/failtable.h"

namespace {

// A window whose list holds one subject per entry of idx (one pair each); TIME
// and EVENT are looked up through idx, the chains hold list positions.
struct Cohort {
  Window w;
  std::vector<double> time;
  std::vector<int> event;
  Cohort(std::vector<double> t, std::vector<int> e, std::vector<int> idx = {}) : time(std::move(t)), event(std::move(e)) {
    if (idx.empty())
      for (int i = 0; i < static_cast<int>(time.size()); i++) idx.push_back(i);
    w.design = 2;
    for (int i : idx) {
      SubjectNode s;
      s.first = static_cast<int>(w.list.pairs.size());
      w.list.pairs.push_back(PairNode{});
      s.last = s.first + 1;
      s.idx = i;
      w.list.subjects.push_back(s);
    }
  }
  void build() { makeFlist(w, time.data(), event.data()); }
  const std::vector<int>& chain(int t) const { return w.Fp[static_cast<std::size_t>(t)].subjects; }
  int count(int t) const { return w.Fp[static_cast<std::size_t>(t)].count; }
  double at(int t) const { return w.Fp[static_cast<std::size_t>(t)].time; }
};

using Chain = std::vector<int>;

}  // namespace

TEST(MakeFlist, NoFailuresPutsEveryoneInRecordZero) {
  Cohort c({3.0, 1.0, 2.0}, {0, 0, 0});
  c.build();
  EXPECT_EQ(c.w.T, 0);
  ASSERT_EQ(c.w.Fp.size(), 2u);
  EXPECT_EQ(c.count(0), 1);
  EXPECT_EQ(c.at(0), 0.0);
  EXPECT_EQ(c.w.Fp[0].cumhaz, 0.0);
  EXPECT_EQ(c.w.Fp[0].risksum, 1.0);
  EXPECT_EQ(c.chain(0), Chain({0, 1, 2}));
  EXPECT_EQ(c.at(1), 1000000.0);
  EXPECT_TRUE(c.chain(1).empty());
}

TEST(MakeFlist, RecordsAscendWithOpenerAtTheHeadAndHalfOpenIntervals) {
  // Failures at 5, 2, 8 (listed out of order); censored at 2 (joins the record of
  // 2), 4.999 (record of 2), 8 (record of 8) and 1 (before the first failure).
  Cohort c({5.0, 2.0, 8.0, 2.0, 4.999, 8.0, 1.0}, {1, 1, 1, 0, 0, 0, 0});
  c.build();
  ASSERT_EQ(c.w.T, 3);
  ASSERT_EQ(c.w.Fp.size(), 5u);
  EXPECT_EQ(c.at(1), 2.0);
  EXPECT_EQ(c.at(2), 5.0);
  EXPECT_EQ(c.at(3), 8.0);
  EXPECT_EQ(c.at(4), 1000000.0);
  EXPECT_EQ(c.chain(1), Chain({1, 3, 4}));
  EXPECT_EQ(c.chain(2), Chain({0}));
  EXPECT_EQ(c.chain(3), Chain({2, 5}));
  EXPECT_EQ(c.chain(0), Chain({6}));
  for (int t = 1; t <= 3; t++) EXPECT_EQ(c.count(t), 1) << t;
  EXPECT_EQ(c.count(0), 1);
  EXPECT_EQ(c.count(4), 0);
}

TEST(MakeFlist, TiedFailuresAreCountedInTheirRecord) {
  // Three failures at 3.0 and one within the tolerance of it, a censored subject
  // at 3.0, a failure at 4.0.
  Cohort c({3.0, 3.0, 4.0, 3.0, 3.0000008, 3.0}, {1, 1, 1, 0, 1, 1});
  c.build();
  ASSERT_EQ(c.w.T, 2);
  EXPECT_EQ(c.at(1), 3.0);
  EXPECT_EQ(c.count(1), 4);
  EXPECT_EQ(c.chain(1), Chain({0, 1, 3, 4, 5}));
  EXPECT_EQ(c.count(2), 1);
  EXPECT_EQ(c.chain(2), Chain({2}));
  EXPECT_TRUE(c.chain(0).empty());
}

TEST(MakeFlist, NearTieDependsOnWhichFailureComesFirst) {
  // Earlier time first: one record of two failures.
  Cohort a({10.0, 10.0000005}, {1, 1});
  a.build();
  ASSERT_EQ(a.w.T, 1);
  EXPECT_EQ(a.at(1), 10.0);
  EXPECT_EQ(a.count(1), 2);
  EXPECT_EQ(a.chain(1), Chain({0, 1}));

  // Later time first: it opens the record, and the earlier failure lies below
  // that record's time, so it falls to record 0, uncounted.
  Cohort b({10.0000005, 10.0}, {1, 1});
  b.build();
  ASSERT_EQ(b.w.T, 1);
  EXPECT_EQ(b.at(1), 10.0000005);
  EXPECT_EQ(b.count(1), 1);
  EXPECT_EQ(b.chain(1), Chain({0}));
  EXPECT_EQ(b.chain(0), Chain({1}));

  // With an earlier failure time present it joins that interval and is counted.
  Cohort d({10.0000005, 10.0, 4.0}, {1, 1, 1});
  d.build();
  ASSERT_EQ(d.w.T, 2);
  EXPECT_EQ(d.at(1), 4.0);
  EXPECT_EQ(d.count(1), 2);
  EXPECT_EQ(d.chain(1), Chain({2, 1}));
  EXPECT_EQ(d.chain(2), Chain({0}));
}

TEST(MakeFlist, FailureNearTimeZeroOpensNoRecord) {
  // Record 0's time 0.0 takes part in the tie test.
  Cohort c({5e-7, 2.0}, {1, 1});
  c.build();
  ASSERT_EQ(c.w.T, 1);
  EXPECT_EQ(c.at(1), 2.0);
  EXPECT_EQ(c.chain(0), Chain({0}));
  EXPECT_EQ(c.count(0), 1);
  // Exactly the tolerance away is still a tie (|1e-6 - 0| is exactly 1e-6).
  Cohort edge({1e-6, 2.0}, {1, 1});
  edge.build();
  EXPECT_EQ(edge.w.T, 1);
  Cohort beyond({1.5e-6, 2.0}, {1, 1});
  beyond.build();
  ASSERT_EQ(beyond.w.T, 2);
  EXPECT_EQ(beyond.at(1), 1.5e-6);
}

TEST(MakeFlist, TimesAtOrBeyondTheSentinelGoToRecordZero) {
  Cohort c({1000000.0, 3.0, 2500000.0, 999999.5}, {0, 1, 0, 0});
  c.build();
  ASSERT_EQ(c.w.T, 1);
  EXPECT_EQ(c.chain(1), Chain({1, 3}));
  EXPECT_EQ(c.chain(0), Chain({0, 2}));
  EXPECT_EQ(c.at(2), 1000000.0);

  // A failure at or beyond the sentinel still opens its own record; its interval
  // [t, 1e6) is empty, so a censored subject at the same time goes to record 0.
  Cohort d({3.0, 2000000.0, 2000000.0}, {1, 1, 0});
  d.build();
  ASSERT_EQ(d.w.T, 2);
  EXPECT_EQ(d.at(2), 2000000.0);
  EXPECT_EQ(d.chain(2), Chain({1}));
  EXPECT_EQ(d.chain(1), Chain({0}));
  EXPECT_EQ(d.chain(0), Chain({2}));
}

TEST(MakeFlist, ChainsHoldListPositionsAndTimesComeThroughTheSubjectIndex) {
  // The list lost row 1 to pruning: positions 0, 1, 2 are rows 0, 2, 3.
  Cohort c({7.0, 1.0, 3.0, 9.0}, {0, 1, 1, 0}, {0, 2, 3});
  c.build();
  ASSERT_EQ(c.w.T, 1);  // row 1's failure is not in the list
  EXPECT_EQ(c.at(1), 3.0);
  EXPECT_EQ(c.chain(1), Chain({1, 0, 2}));
  EXPECT_EQ(c.count(1), 1);
}

namespace {

// The table built the plain way: compare each failure with every opened time,
// selection-sort the records, then walk the remaining subjects once per record.
struct PlainTable {
  std::vector<double> time;
  std::vector<int> count;
  std::vector<Chain> chain;
};

PlainTable plain_table(const std::vector<double>& TIME, const std::vector<int>& EVENT) {
  const int n = static_cast<int>(TIME.size());
  PlainTable p;
  p.time = {0.0};
  p.count = {1};
  p.chain = {{}};
  std::vector<int> rest;
  for (int s = 0; s < n; s++) {
    bool opens = EVENT[s] == 1;
    for (double t : p.time)
      if (!(std::fabs(TIME[s] - t) > 1e-6)) opens = false;
    if (opens) {
      p.time.push_back(TIME[s]);
      p.count.push_back(1);
      p.chain.push_back({s});
    } else {
      rest.push_back(s);
    }
  }
  const int T = static_cast<int>(p.time.size()) - 1;
  for (int i = 1; i <= T; i++) {
    int m = i;
    for (int j = i + 1; j <= T; j++)
      if (p.time[j] < p.time[m]) m = j;
    std::swap(p.time[i], p.time[m]);
    std::swap(p.chain[i], p.chain[m]);
  }
  p.time.push_back(1000000.0);
  for (int t = 1; t <= T; t++) {
    std::vector<int> left;
    for (int s : rest) {
      if (p.time[t] <= TIME[s] && TIME[s] < p.time[t + 1]) {
        p.chain[t].push_back(s);
        if (EVENT[s] == 1) p.count[t]++;
      } else {
        left.push_back(s);
      }
    }
    rest = left;
  }
  p.chain[0] = rest;
  return p;
}

}  // namespace

TEST(MakeFlist, AgreesWithThePlainConstructionOnCrowdedNearTies) {
  // Times on a coarse grid plus offsets around the tolerance, in shuffled order,
  // with some beyond the sentinel.
  unsigned state = 12345u;
  auto next = [&state](unsigned mod) {
    state = state * 1103515245u + 12345u;
    return (state >> 16) % mod;
  };
  const double offsets[6] = {0.0, 4e-7, 9e-7, 1e-6, 1.6e-6, 3e-6};
  for (int round = 0; round < 20; round++) {
    std::vector<double> t;
    std::vector<int> e;
    for (int s = 0; s < 300; s++) {
      const unsigned g = next(40);
      t.push_back(g == 39 ? 1500000.0 : 0.5 * g + offsets[next(6)]);
      e.push_back(next(3) == 0 ? 0 : 1);
    }
    const PlainTable p = plain_table(t, e);
    Cohort c(t, e);
    c.build();
    const int T = static_cast<int>(p.count.size()) - 1;
    ASSERT_EQ(c.w.T, T) << round;
    ASSERT_EQ(c.w.Fp.size(), static_cast<std::size_t>(T) + 2);
    for (int r = 0; r <= T + 1; r++) {
      EXPECT_EQ(c.at(r), p.time[r]) << round << " " << r;
      if (r <= T) {
        EXPECT_EQ(c.count(r), p.count[r]) << round << " " << r;
        EXPECT_EQ(c.chain(r), p.chain[r]) << round << " " << r;
      }
    }
  }
}

TEST(FreeFlist, ReleasesTableAndList) {
  Cohort c({1.0, 2.0}, {1, 0});
  c.build();
  freeFlist(c.w);
  EXPECT_TRUE(c.w.Fp.empty());
  EXPECT_EQ(c.w.T, 0);
  EXPECT_TRUE(c.w.list.subjects.empty());
  EXPECT_TRUE(c.w.list.pairs.empty());
}
