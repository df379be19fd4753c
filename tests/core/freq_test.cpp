// Haplotype frequency EM, the back-transformation of log frequency ratios with
// delta-method standard errors, and the checks on information matrices.
#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

#include "core/freq.h"
#include "core/haplist.h"

namespace {

Mat<int> rows(int M, const std::vector<std::vector<int>>& r) {
  Mat<int> g = imatrix(0, static_cast<long>(r.size()) - 1, 0, M - 1);
  for (std::size_t i = 0; i < r.size(); i++)
    for (std::size_t j = 0; j < r[i].size(); j++) g[static_cast<long>(i)][static_cast<long>(j)] = r[i][j];
  return g;
}

std::vector<std::vector<int>> repeat(std::vector<int> row, int times) {
  return std::vector<std::vector<int>>(static_cast<std::size_t>(times), row);
}

std::vector<std::vector<int>> join(std::initializer_list<std::vector<std::vector<int>>> parts) {
  std::vector<std::vector<int>> out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

// A window of M SNPs with a study list over the given rows.
Window study_window(int M, const std::vector<std::vector<int>>& r, int design = 1) {
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

// ---- EM -----------------------------------------------------------------------

TEST(A1, HomozygousWindowGivesTheObservedProportions) {
  // Haplotypes 3 (x3), 0 (x1), 2 (x2): one pair each, so the first M-step lands on
  // the proportions and the second changes nothing.
  Window w = study_window(2, join({repeat({2, 2}, 3), {{0, 0}}, repeat({2, 0}, 2)}));
  std::vector<int> status(6, 1);
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_DOUBLE_EQ(f[0], 1.0 / 6.0);
  EXPECT_EQ(f[1], 0.0);
  EXPECT_DOUBLE_EQ(f[2], 2.0 / 6.0);
  EXPECT_EQ(f[3], 0.5);
  for (const PairNode& p : w.list.pairs) EXPECT_EQ(p.w, 1.0);
}

TEST(A1, AmbiguousTwoSnpWindowMatchesAnIndependentEm) {
  // 3 x (2,2), 2 x (0,0), 4 double heterozygotes, (2,1), 2 x (1,0), (0,1), one
  // subject missing the second SNP and one missing both. Reference: a separate EM
  // in R with pairs enumerated by brute force, uniform start and the same stop
  // rule (9 iterations); run to 1e-15 it gives the maximum-likelihood estimate.
  Window w = study_window(2, join({repeat({2, 2}, 3), repeat({0, 0}, 2), repeat({1, 1}, 4), {{2, 1}},
                                   repeat({1, 0}, 2), {{0, 1}, {1, 9}, {9, 9}}}));
  std::vector<int> status(static_cast<std::size_t>(w.list.subjects.size()), 0);
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, status.data()), 1);
  const double em[4] = {0.421190994428, 0.043094719859, 0.119151512680, 0.416562773033};
  const double mle[4] = {0.421195429237, 0.043090285049, 0.119147377678, 0.416566908037};
  double total = 0.0;
  for (int h = 0; h < 4; h++) {
    EXPECT_NEAR(f[h], em[h], 1e-11) << h;
    EXPECT_NEAR(f[h], mle[h], 1e-5) << h;
    total += f[h];
  }
  EXPECT_NEAR(total, 1.0, 1e-14);
  // A double heterozygote's weights are its phase posteriors (of the last E-step,
  // one M-step behind the returned frequencies).
  const SubjectNode& dh = w.list.subjects[5];
  ASSERT_EQ(dh.last - dh.first, 2);
  const PairNode& cis = w.list.pairs[dh.first];
  const PairNode& trans = w.list.pairs[dh.first + 1];
  EXPECT_DOUBLE_EQ(cis.w + trans.w, 1.0);
  EXPECT_NEAR(cis.w, f[0] * f[3] / (f[0] * f[3] + f[1] * f[2]), 1e-4);
}

TEST(A1, PanelAloneThenStudyAndPanel) {
  // Trio (1,1),(1,0) with child (2,1); duo (1,1) with child (1,2); singleton (1,1).
  // Study: (2,2), two double heterozygotes, (0,1), (1,9). Reference: the same
  // separate EM in R, with the panel's combinations enumerated from scratch
  // (trio 1 combination, duo 2); divisors 2 + 1.5 + 1 and 5 + 2 + 1.5 + 1.
  Window w = study_window(2, {{2, 2}, {1, 1}, {1, 1}, {0, 1}, {1, 9}});
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
}

TEST(A1, FamilyWithoutCombinationsStillCountsItsHaplotypes) {
  // Two subjects homozygous for haplotype 0 and a trio whose child fits neither
  // parent: four haplotypes of the trio enter the divisor with no weight.
  Window w = study_window(2, {{0, 0}, {0, 0}});
  makelist_ex(w.list_ex, rows(2, {{0, 0}, {0, 0}, {2, 2}}), 1, 0, 0, 2);
  std::vector<int> status = {0, 0};
  std::vector<double> f = uniform(4);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, 1, status.data()), 1);
  EXPECT_EQ(f[0], 0.5);
  EXPECT_EQ(f[1] + f[2] + f[3], 0.0);
}

TEST(A1, SubjectOfZeroProbabilityGetsZeroWeightsButStillCounts) {
  // From f = (1, 0, 0, 0) the (2,2) subject has probability exactly 0: its weight
  // stays 0 (no 0/0), and it still counts as a subject in the divisor.
  Window w = study_window(2, {{0, 0}, {2, 2}});
  std::vector<int> status = {0, 1};
  std::vector<double> f = {1.0, 0.0, 0.0, 0.0};
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_EQ(f[0], 0.5);
  EXPECT_EQ(f[3], 0.0);
  EXPECT_EQ(w.list.pairs[1].w, 0.0);
}

// One subject homozygous for allele 1 and `missing` untyped ones (one SNP). The
// untyped subjects return the current frequencies, so from 1/2 the distance to
// the homozygote's haplotype shrinks by the factor missing / (missing + 1) per
// iteration and the L1 change after iteration t is 2 x(t-1) / (missing + 1).
TEST(A1, StatusFilterAppliesToTheCaseControlDesignOnly) {
  const auto r = join({{{2}}, repeat({9}, 99)});
  std::vector<int> status(100, 7);
  status[0] = 1;

  Window cc = study_window(1, r, 1);
  std::vector<double> f = uniform(2);
  EXPECT_EQ(A1(cc, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_EQ(f[0], 0.0);
  EXPECT_EQ(f[1], 1.0);
  for (int p = cc.list.subjects[1].first; p < static_cast<int>(cc.list.pairs.size()); p++)
    EXPECT_EQ(cc.list.pairs[p].w, 0.0);

  // Cohort design: everyone takes part. x(t) = 0.5 * 0.99^t; the change
  // 0.02 x(t-1) first falls below 1e-4 at t - 1 = 459, after 460 iterations.
  Window co = study_window(1, r, 2);
  f = uniform(2);
  EXPECT_EQ(A1(co, f.data(), 0, 1, 1, -1, status.data()), 1);
  EXPECT_NEAR(f[1], 1.0 - 0.5 * std::pow(0.99, 460), 1e-12);
  EXPECT_NEAR(f[0], 0.5 * std::pow(0.99, 460), 1e-12);
}

TEST(A1, StopsAtTheIterationCapAndSaysSo) {
  // 199 untyped subjects: the change 0.01 x(t-1) stays above 1e-4 until t = 781,
  // so the EM stops at 500 iterations with x = 0.5 * 0.995^500.
  Window w = study_window(1, join({{{2}}, repeat({9}, 199)}), 2);
  std::vector<double> f = uniform(2);
  EXPECT_EQ(A1(w, f.data(), 0, 1, 1, -1, nullptr), 0);
  EXPECT_NEAR(f[1], 1.0 - 0.5 * std::pow(0.995, 500), 1e-12);
}

TEST(Length, IsTheSumOfAbsoluteValues) {
  const double v[4] = {0.5, -0.25, 0.0, -1e-5};
  EXPECT_EQ(length(v, 4), 0.75001);
  EXPECT_EQ(length(v, 0), 0.0);
}

// ---- Back-transformation ------------------------------------------------------

namespace {

// q = 1 coefficient, KK = 3 haplotypes (two log ratios), qq = 1 dependence
// parameter and one stratum parameter: dim = 5.
struct DeltaExample {
  Window w;
  double theta[5] = {0.3, std::log(0.5), std::log(0.25), -0.7, 0.2};
  Mat<double> V = square(5, {0.50, 0.05, 0.02, 0.01, 0.03,  //
                             0.05, 0.40, 0.10, 0.04, 0.02,  //
                             0.02, 0.10, 0.30, 0.05, 0.01,  //
                             0.01, 0.04, 0.05, 0.20, 0.06,  //
                             0.03, 0.02, 0.01, 0.06, 0.90});
  DeltaExample() {
    w.q = 1;
    w.KK = 3;
    w.qq = 1;
  }
};

// (coefficient, reference frequency, the other two frequencies) as a function of
// the first three parameters, written directly from the model.
void forward(const double* t, double* out) {
  const double e1 = std::exp(t[1]), e2 = std::exp(t[2]), S = 1.0 + e1 + e2;
  out[0] = t[0];
  out[1] = 1.0 / S;
  out[2] = e1 / S;
  out[3] = e2 / S;
}

}  // namespace

TEST(OrigFreq, HandWorkedDeltaMethodExample) {
  // Reference from R: S = 1.75; J = d(coef, f1, f2, ref)/d(theta), se =
  // sqrt(diag(J V J')) with the analytic Jacobian.
  DeltaExample x;
  double est[6], se[6];
  est[5] = se[5] = -99.0;  // past the q + KK + qq reported entries
  orig_freq(x.w, est, se, x.theta, x.V, 5);
  const double e[5] = {0.3, 0.571428571428571, 0.285714285714286, 0.142857142857143, -0.7};
  const double s[5] = {0.707106781186548, 0.123802048066148, 0.124473066791648, 0.064536278778947,
                       0.447213595499958};
  for (int i = 0; i < 5; i++) {
    EXPECT_NEAR(est[i], e[i], 1e-14) << i;
    EXPECT_NEAR(se[i], s[i], 1e-14) << i;
  }
  EXPECT_EQ(est[5], -99.0);
  EXPECT_EQ(se[5], -99.0);
}

TEST(OrigFreq, StandardErrorsAgreeWithFiniteDifferencesOfTheMap) {
  DeltaExample x;
  x.theta[1] = 0.8;  // a less tidy point: the first ratio haplotype is now the commonest
  x.theta[2] = -1.3;
  double est[5], se[5];
  orig_freq(x.w, est, se, x.theta, x.V, 5);

  // Central differences of the forward map give a numerical Jacobian.
  double Jn[4][3];
  const double h = 1e-6;
  for (int k = 0; k < 3; k++) {
    double up[5], dn[5], fu[4], fd[4];
    for (int i = 0; i < 5; i++) up[i] = dn[i] = x.theta[i];
    up[k] += h;
    dn[k] -= h;
    forward(up, fu);
    forward(dn, fd);
    for (int r = 0; r < 4; r++) Jn[r][k] = (fu[r] - fd[r]) / (2 * h);
  }
  double f[4];
  forward(x.theta, f);
  for (int r = 0; r < 4; r++) {
    double var = 0.0;
    for (int a = 0; a < 3; a++)
      for (int b = 0; b < 3; b++) var += Jn[r][a] * x.V[a + 1][b + 1] * Jn[r][b];
    EXPECT_NEAR(est[r], f[r], 1e-14) << r;
    EXPECT_NEAR(se[r], std::sqrt(var), 1e-8) << r;
  }
  EXPECT_EQ(est[4], -0.7);
  EXPECT_EQ(se[4], std::sqrt(0.2));
}

TEST(OrigFreq, SingleHaplotypeHasFrequencyOneAndNoVariance) {
  Window w;
  w.q = 2;
  w.KK = 1;
  w.qq = 0;
  const double theta[2] = {1.5, -0.5};
  Mat<double> V = square(2, {0.04, 0.01, 0.01, 0.09});
  double est[3], se[3];
  orig_freq(w, est, se, theta, V, 2);
  EXPECT_EQ(est[0], 1.5);
  EXPECT_EQ(est[1], -0.5);
  EXPECT_EQ(est[2], 1.0);
  EXPECT_DOUBLE_EQ(se[0], 0.2);
  EXPECT_DOUBLE_EQ(se[1], 0.3);
  EXPECT_EQ(se[2], 0.0);
}

// ---- Variance checks ----------------------------------------------------------

TEST(ExplosionE, RowOfHugeEntriesIsUnusableUnlessOneIsSmaller) {
  EXPECT_EQ(explosion_E(square(2, {1.0, 0.5, 1e6, -1e6}), 2), 1);
  EXPECT_EQ(explosion_E(square(2, {1.0, 0.5, 1e6, 999999.0}), 2), 0);
  EXPECT_EQ(explosion_E(square(2, {1e6, 1e6, 1e6, 1e6}), 2), 1);
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(explosion_E(square(2, {inf, 1.0, 1.0, 2.0}), 2), 0);
  EXPECT_EQ(explosion_E(square(2, {inf, inf, 1.0, 2.0}), 2), 1);
}

TEST(ExplosionE, NaNOrNearZeroRowSumsAreUnusable) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(explosion_E(square(2, {1.0, nan, 0.5, 2.0}), 2), 1);
  EXPECT_EQ(explosion_E(square(2, {1.0, 0.0, 5e-7, 4e-7}), 2), 1);
  EXPECT_EQ(explosion_E(square(2, {1.0, 0.0, 1e-6, 0.0}), 2), 0);  // not below 1e-6
  EXPECT_EQ(explosion_E(square(2, {0.0, 0.0, 0.0, 0.0}), 2), 1);
  EXPECT_EQ(explosion_E(square(2, {2.0, 1.0, 1.0, 2.0}), 0), 0);
}

TEST(InproperStd, DiagonalMustLieStrictlyBetweenZeroAndOneHundred) {
  EXPECT_EQ(inproper_std(square(2, {1.0, 500.0, 500.0, 99.99}), 2), 0);
  EXPECT_EQ(inproper_std(square(2, {1.0, 0.0, 0.0, 100.0}), 2), 1);
  EXPECT_EQ(inproper_std(square(2, {0.0, 0.0, 0.0, 1.0}), 2), 1);
  EXPECT_EQ(inproper_std(square(2, {1.0, 0.0, 0.0, -1e-300}), 2), 1);
  EXPECT_EQ(inproper_std(square(2, {1e-300, 0.0, 0.0, 1.0}), 2), 0);
  // Only the first n entries are looked at; NaN passes both comparisons.
  EXPECT_EQ(inproper_std(square(2, {1.0, 0.0, 0.0, 100.0}), 1), 0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(inproper_std(square(2, {nan, 0.0, 0.0, 1.0}), 2), 0);
}
