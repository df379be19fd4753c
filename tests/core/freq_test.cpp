// Haplotype frequency EM, the back-transformation of log frequency ratios with
// delta-method standard errors, and the checks on information matrices.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "core/freq.h"
#include "core/haplist.h"
#include "support/literal_em.h"

namespace {

using Rows = std::vector<std::vector<int>>;

Mat<int> rows(int M, const Rows& r) {
  Mat<int> g = imatrix(0, static_cast<long>(r.size()) - 1, 0, M - 1);
  for (std::size_t i = 0; i < r.size(); i++)
    for (std::size_t j = 0; j < r[i].size(); j++) g[static_cast<long>(i)][static_cast<long>(j)] = r[i][j];
  return g;
}

// A window of M SNPs whose study list holds each row the given number of times.
Window study_window(int M, const std::vector<std::pair<std::vector<int>, int>>& counted, int design = 1) {
  Rows r;
  for (const auto& [row, times] : counted) r.insert(r.end(), static_cast<std::size_t>(times), row);
  Window w;
  w.set_size(M);
  w.design = design;
  makelist(w.list, rows(M, r), static_cast<int>(r.size()), M);
  return w;
}

std::vector<double> uniform(int K) { return std::vector<double>(static_cast<std::size_t>(K), 1.0 / K); }

Mat<double> square(int n, std::initializer_list<double> v) {
  Mat<double> a = dmatrix(1, n, 1, n);
  auto it = v.begin();
  for (int i = 1; i <= n; i++)
    for (int j = 1; j <= n; j++) a[i][j] = *it++;
  return a;
}

}  // namespace

TEST(A1, HomozygousWindowGivesTheObservedProportions) {
  // Haplotypes 3 (x3), 0 (x1), 2 (x2): one pair each, so the first M-step lands on
  // the proportions and the second changes nothing.
  Window w = study_window(2, {{{2, 2}, 3}, {{0, 0}, 1}, {{2, 0}, 2}});
  std::vector<int> status(6, 1);
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_EQ(f, (std::vector<double>{1.0 / 6.0, 0.0, 2.0 / 6.0, 0.5}));
  for (const PairNode& p : w.list.pairs) EXPECT_EQ(p.w, 1.0);

  // From f = (1, 0, 0, 0) a (2,2) subject has probability exactly 0: its weight
  // stays 0 (no 0/0), and it still counts in the divisor.
  Window z = study_window(2, {{{0, 0}, 1}, {{2, 2}, 1}});
  f = {1.0, 0.0, 0.0, 0.0};
  EXPECT_EQ(A1(z, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_EQ(f, (std::vector<double>{0.5, 0.0, 0.0, 0.0}));
  EXPECT_EQ(z.list.pairs[1].w, 0.0);
}

TEST(A1, AmbiguousTwoSnpWindowMatchesAnIndependentEm) {
  // 3 x (2,2), 2 x (0,0), 4 double heterozygotes, (2,1), 2 x (1,0), (0,1), one
  // subject missing the second SNP and one missing both. Reference: a separate EM
  // in R with pairs enumerated by brute force, uniform start and the same stop
  // rule (9 iterations); run to 1e-15 it gives the maximum-likelihood estimate.
  Window w = study_window(2, {{{2, 2}, 3}, {{0, 0}, 2}, {{1, 1}, 4}, {{2, 1}, 1}, {{1, 0}, 2}, {{0, 1}, 1},
                              {{1, 9}, 1}, {{9, 9}, 1}});
  std::vector<int> status(w.list.subjects.size(), 0);
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, status.data()), 1);
  const double em[4] = {0.421190994428, 0.043094719859, 0.119151512680, 0.416562773033};
  const double mle[4] = {0.421195429237, 0.043090285049, 0.119147377678, 0.416566908037};
  for (int h = 0; h < 4; h++) {
    EXPECT_NEAR(f[h], em[h], 1e-11) << h;
    EXPECT_NEAR(f[h], mle[h], 1e-5) << h;
  }
  EXPECT_NEAR(f[0] + f[1] + f[2] + f[3], 1.0, 1e-14);
  // A double heterozygote's weights are its phase posteriors (of the last E-step,
  // one M-step behind the returned frequencies).
  const SubjectNode& dh = w.list.subjects[5];
  ASSERT_EQ(dh.last - dh.first, 2);
  const PairNode &cis = w.list.pairs[dh.first], &trans = w.list.pairs[dh.first + 1];
  EXPECT_DOUBLE_EQ(cis.w + trans.w, 1.0);
  EXPECT_NEAR(cis.w, f[0] * f[3] / (f[0] * f[3] + f[1] * f[2]), 1e-4);
}

TEST(A1, PanelAloneThenStudyAndPanel) {
  // Trio (1,1),(1,0) with child (2,1); duo (1,1) with child (1,2); singleton (1,1).
  // Study: (2,2), two double heterozygotes, (0,1), (1,9). Reference: the same
  // separate EM in R, with the panel's combinations enumerated from scratch
  // (trio 1 combination, duo 2); divisors 2 + 1.5 + 1 and 5 + 2 + 1.5 + 1.
  Window w = study_window(2, {{{2, 2}, 1}, {{1, 1}, 2}, {{0, 1}, 1}, {{1, 9}, 1}});
  makelist_ex(w.list_ex, rows(2, {{1, 1}, {1, 0}, {2, 1}, {1, 1}, {1, 2}, {1, 1}}), 1, 1, 1, 2);
  ASSERT_EQ(w.list_ex.entries.size(), 1u + 2u + 2u);
  std::vector<int> status = {1, 0, 1, 0, 1};
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), -1, -1, -1, 1, status.data()), 1);
  const double panel[4] = {0.397772602834, 0.126221086682, 0.157782952721, 0.318223357762};
  for (int h = 0; h < 4; h++) EXPECT_NEAR(f[h], panel[h], 1e-11) << h;
  for (const PairNode& p : w.list.pairs) EXPECT_EQ(p.w, 0.0);  // study left out
  EXPECT_EQ(w.list_ex.entries[0].w, 1.0);                     // the trio's only combination

  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, 1, status.data()), 1);
  const double both[4] = {0.389377846309, 0.127964763296, 0.080013445519, 0.402643944876};
  for (int h = 0; h < 4; h++) EXPECT_NEAR(f[h], both[h], 1e-11) << h;

  // A trio whose child fits neither parent has no combination, but its four
  // haplotypes still enter the divisor.
  Window e = study_window(2, {{{0, 0}, 2}});
  makelist_ex(e.list_ex, rows(2, {{0, 0}, {0, 0}, {2, 2}}), 1, 0, 0, 2);
  f = uniform(4);
  EXPECT_EQ(A1(e, f.data(), 0, 1, 1, 1, status.data()), 1);
  EXPECT_EQ(f, (std::vector<double>{0.5, 0.0, 0.0, 0.0}));
}

// One subject homozygous for allele 1 and m untyped ones (one SNP). The untyped
// subjects return the current frequencies, so from 1/2 the distance to the
// homozygote's haplotype shrinks by m / (m + 1) per iteration and the L1 change
// after iteration t is 2 x(t-1) / (m + 1).
TEST(A1, StatusFilterAndIterationCap) {
  std::vector<int> status(100, 7);
  status[0] = 1;
  // Case-control design: only status 0 or 1 takes part, so one iteration settles it.
  Window cc = study_window(1, {{{2}, 1}, {{9}, 99}}, 1);
  std::vector<double> f = uniform(2);
  EXPECT_EQ(A1(cc, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_EQ(f, (std::vector<double>{0.0, 1.0}));
  for (int p = cc.list.subjects[1].first; p < static_cast<int>(cc.list.pairs.size()); p++)
    EXPECT_EQ(cc.list.pairs[p].w, 0.0);

  // Cohort design: everyone takes part. x(t) = 0.5 * 0.99^t; the change
  // 0.02 x(t-1) first falls below 1e-4 after 460 iterations.
  Window co = study_window(1, {{{2}, 1}, {{9}, 99}}, 2);
  f = uniform(2);
  EXPECT_EQ(A1(co, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_NEAR(f[0], 0.5 * std::pow(0.99, 460), 1e-12);
  EXPECT_NEAR(f[1], 1.0 - 0.5 * std::pow(0.99, 460), 1e-12);

  // 199 untyped: the change stays above 1e-4 until t = 781, so the EM stops,
  // unconverged, at 500 iterations.
  Window cap = study_window(1, {{{2}, 1}, {{9}, 199}}, 2);
  f = uniform(2);
  EXPECT_EQ(A1(cap, f.data(), 0, 1, 1, -1, nullptr), 0);
  EXPECT_NEAR(f[1], 1.0 - 0.5 * std::pow(0.995, 500), 1e-12);
}

TEST(OrigFreq, HandWorkedDeltaMethodExample) {
  // q = 1 coefficient, KK = 3 haplotypes (two log ratios), qq = 1 further
  // parameter and one unreported parameter: dim = 5. Reference from R: S = 1.75;
  // J = d(coef, ref, f1, f2)/d(theta), se = sqrt(diag(J V J')).
  Window w;
  w.q = 1;
  w.KK = 3;
  w.qq = 1;
  const double theta[5] = {0.3, std::log(0.5), std::log(0.25), -0.7, 0.2};
  const Mat<double> V = square(5, {0.50, 0.05, 0.02, 0.01, 0.03,  //
                                   0.05, 0.40, 0.10, 0.04, 0.02,  //
                                   0.02, 0.10, 0.30, 0.05, 0.01,  //
                                   0.01, 0.04, 0.05, 0.20, 0.06,  //
                                   0.03, 0.02, 0.01, 0.06, 0.90});
  double est[6], se[6];
  est[5] = se[5] = -99.0;
  orig_freq(w, est, se, theta, V, 5);
  const double e[6] = {0.3, 0.571428571428571, 0.285714285714286, 0.142857142857143, -0.7, -99.0};
  const double s[6] = {0.707106781186548, 0.123802048066148, 0.124473066791648, 0.064536278778947,
                       0.447213595499958, -99.0};
  for (int i = 0; i < 6; i++) {
    EXPECT_NEAR(est[i], e[i], 1e-14) << i;
    EXPECT_NEAR(se[i], s[i], 1e-14) << i;
  }

  // A single retained haplotype has frequency 1 and no variance.
  w.q = 2;
  w.KK = 1;
  w.qq = 0;
  orig_freq(w, est, se, theta, square(2, {0.04, 0.01, 0.01, 0.09}), 2);
  EXPECT_EQ(std::vector<double>(est, est + 3), (std::vector<double>{0.3, std::log(0.5), 1.0}));
  EXPECT_NEAR(se[0], 0.2, 1e-15);
  EXPECT_NEAR(se[1], 0.3, 1e-15);
  EXPECT_EQ(se[2], 0.0);
}

TEST(VarianceChecks, UnusableRowsAndImproperDiagonals) {
  const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    std::initializer_list<double> a;
    int n, explosion, improper;
  } cases[] = {
      {{1.0, 0.5, 1e6, -1e6}, 2, 1, 1},  // every entry of row 2 at least 1e6 in magnitude
      {{1.0, 0.5, 1e6, 999999.0}, 2, 0, 1},
      {{1e6, 1e6, 1e6, 1e6}, 2, 1, 1},
      {{inf, 1.0, 1.0, 2.0}, 2, 0, 1},
      {{inf, inf, 1.0, 2.0}, 2, 1, 1},
      {{1.0, nan, 0.5, 2.0}, 2, 1, 0},   // NaN row sum
      {{1.0, 0.0, 5e-7, 4e-7}, 2, 1, 0},  // row sum below 1e-6
      {{1.0, 0.0, 1e-6, 0.0}, 2, 0, 1},   // not below 1e-6; a diagonal 0
      {{0.0, 0.0, 0.0, 0.0}, 2, 1, 1},
      {{2.0, 1.0, 1.0, 2.0}, 0, 0, 0},
      {{1.0, 500.0, 500.0, 99.99}, 2, 0, 0},  // 99.99 is a proper variance
      {{1.0, 0.0, 0.0, 100.0}, 2, 0, 1},      // 100 is not
      {{1.0, 0.0, 0.0, 100.0}, 1, 0, 0},      // only the first n diagonal entries count
      {{1.0, 0.0, 0.0, -1e-300}, 2, 1, 1},
      {{1e-300, 0.0, 0.0, 1.0}, 2, 1, 0},
      {{nan, 0.0, 0.0, 1.0}, 2, 1, 0},  // NaN passes both comparisons of the diagonal test
  };
  for (const auto& c : cases) {
    const Mat<double> a = square(2, c.a);
    EXPECT_EQ(explosion_E(a, c.n), c.explosion) << *c.a.begin() << " " << c.a.begin()[3] << " n " << c.n;
    EXPECT_EQ(inproper_std(a, c.n), c.improper) << *c.a.begin() << " " << c.a.begin()[3] << " n " << c.n;
  }
}

// The estimate adds the subjects' expected counts in subject order, digit for
// digit as the plain subject-by-subject loop does; for windows of one to
// eight SNPs, and for one where a single haplotype takes most of the additions
// (nearly every subject homozygous for it), so that some lanes of the sum idle.
TEST(A1, SameDigitsAsTheSubjectBySubjectLoop) {
  unsigned state = 99;
  auto next = [&state] {
    state = state * 1664525u + 1013904223u;
    return (state >> 8) % 1000;
  };
  for (int M : {1, 5, 8, -5}) {
    const bool skewed = M < 0;
    M = std::abs(M);
    const int K = 1 << M;
    Rows r;
    std::vector<int> status;
    for (int i = 0; i < 400; i++) {
      std::vector<int> row;
      const int founder = static_cast<int>(next() % 4);
      for (int j = 0; j < M; j++) {
        int g = ((founder >> (j % 2)) & 1) + static_cast<int>(next() % 2);
        if (skewed && next() < 900) g = 0;
        if (next() < 30) g = 9;
        row.push_back(g);
      }
      r.push_back(row);
      status.push_back(next() < 50 ? 2 : static_cast<int>(next() % 2));
    }
    for (int design : {kCaseControl, kCohort}) {
      Window w;
      w.set_size(M);
      w.design = design;
      makelist(w.list, rows(M, r), static_cast<int>(r.size()), M);
      std::vector<double> expected = uniform(K), got = uniform(K);
      literal_em(w.list, expected, design == kCaseControl ? status : std::vector<int>{});
      A1(w, got.data(), 0, 1, 1, -1, status.data());
      EXPECT_EQ(got, expected) << M << " " << skewed << " " << design;

      // Each pair of a subject taking part is left with its posterior weight of the last E-step.
      for (const SubjectNode& s : w.list.subjects) {
        if (design == kCaseControl && status[static_cast<std::size_t>(s.idx)] > 1) continue;
        double sum = 0.0;
        for (int p = s.first; p < s.last; p++) sum += w.list.pairs[static_cast<std::size_t>(p)].w;
        EXPECT_NEAR(sum, 1.0, 1e-12);
      }
    }
  }
}

