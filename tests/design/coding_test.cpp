// Coding of a haplotype pair: the genetic coding of each mode
// for single-SNP and haplotype analyses, the layout of the design vector, the
// intercept rule, and the dependence entries.
#include <gtest/gtest.h>

#include <vector>

#include "design/coding.h"
#include "model/model.h"

namespace {

constexpr double kUntouched = -777.0;

// A window with pH genetic terms (all main effects) and no covariates.
Window genetic_window(int M, int mode, int design, int pH = 1) {
  Window w;
  w.set_size(M);
  w.mode = mode;
  w.design = design;
  w.pH = pH;
  w.anal = 2;
  w.H_H = imatrix(0, pH - 1, 0, pH - 1);
  for (int h = 0; h < pH; h++) w.H_H[h][h] = 1;
  w.X_X = imatrix(0, -1, 0, -1);
  w.X_H = imatrix(0, -1, 0, pH - 1);
  w.X = dmatrix(0, 0, 0, -1);
  return w;
}

std::vector<double> zvec(const Window& w, int j, int h1, int h2) {
  std::vector<double> z(16, kUntouched);
  const int written = Zvec(w, z.data(), j, h1, h2);
  for (int k = written; k < 16; k++) EXPECT_EQ(z[static_cast<std::size_t>(k)], kUntouched) << "entry " << k;
  z.resize(static_cast<std::size_t>(written));
  return z;
}

using V = std::vector<double>;

}  // namespace

TEST(GenotypeCoding, SingleSnpCodingByMode) {
  // Pairs (0,0), (0,1), (1,1) under each mode. Cohort design: no intercept, so
  // only the genetic entries are written.
  const V expected[4][3] = {{{0}, {1}, {2}}, {{0}, {0}, {1}}, {{0}, {1}, {1}}, {{0, 0}, {1, 0}, {0, 1}}};
  for (int mode = kAdditive; mode <= kCodominant; mode++)
    for (int g = 0; g < 3; g++)
      EXPECT_EQ(zvec(genetic_window(1, mode, kCohort), 0, g == 2 ? 1 : 0, g == 0 ? 0 : 1), expected[mode - 1][g])
          << "mode " << mode << " genotype " << g;
}

TEST(GenotypeCoding, DesignVectorLayout) {
  // Two covariate columns with their product, column 1 times G, codominant,
  // cross-sectional: G(1), G(2), X0, X0*X1, X1, X1*G(1), X1*G(2), intercept.
  Window w = genetic_window(1, kCodominant, kCrossSectional);
  w.pX = 2;
  w.J = 2;
  w.X = dmatrix(0, 1, 0, 1);
  w.X[1][0] = 3.0;
  w.X[1][1] = -2.0;
  w.X_X = imatrix(0, 1, 0, 1);
  w.X_X[0][0] = 1;
  w.X_X[0][1] = 2;
  w.X_X[1][1] = 1;
  w.X_H = imatrix(0, 1, 0, 0);
  w.X_H[1][0] = 1;
  EXPECT_EQ(zvec(w, 1, 0, 1), (V{1, 0, 3, -6, -2, -2, -0, 1}));
  EXPECT_EQ(zvec(w, 1, 1, 1), (V{0, 1, 3, -6, -2, -0, -2, 1}));
  // A genetic term that is only part of a product writes no main effect.
  w.H_H[0][0] = 0;
  EXPECT_EQ(zvec(w, 1, 1, 1), (V{3, -6, -2, -0, -2, 1}));
}

TEST(GenotypeCoding, InterceptRule) {
  struct Case {
    int M, design, anal;
    bool intercept;
  };
  const Case cases[] = {
      {1, kCaseControl, 0, true},  {1, kCaseControl, 1, true},   {1, kCaseControl, 2, true},
      {1, kCohort, 0, false},      {1, kCohort, 1, false},       {1, kCohort, 2, false},
      {1, kCrossSectional, 0, true}, {1, kCrossSectional, 2, true},
      {5, kCaseControl, 0, false}, {5, kCaseControl, 1, true},   {5, kCaseControl, 2, false},
      {5, kCohort, 1, false},      {5, kCrossSectional, 0, true}, {5, kCrossSectional, 1, true},
      {5, kCrossSectional, 2, true},
  };
  for (const Case& c : cases) {
    Window w = genetic_window(c.M, kAdditive, c.design);
    w.anal = c.anal;
    const V z = zvec(w, 0, 0, 0);
    EXPECT_EQ(z.size(), c.intercept ? 2u : 1u) << "M " << c.M << " design " << c.design << " anal " << c.anal;
    if (c.intercept) {
      EXPECT_EQ(z.back(), 1.0);
    }
  }
}

TEST(GenotypeCoding, DependenceEntriesFollowTheRegressionAndFrequencyParameters) {
  Window w = genetic_window(3, kAdditive, kCaseControl);
  w.pX = 2;
  w.X = dmatrix(0, 0, 0, 1);
  w.X[0][0] = 2.0;
  w.X[0][1] = 0.5;
  w.q = 3;
  w.KK = 4;
  w.hap_GOR = {6, 1};
  std::vector<double> z(12, kUntouched);

  w.pD = 0;
  w.qq = 4;
  Dvec(w, z.data(), 0, 6, 1);
  for (double v : z) EXPECT_EQ(v, kUntouched);

  // Two dependence columns and G = qq / pD = 2 haplotypes: entries 6..9.
  w.pD = 2;
  const double u = kUntouched;
  Dvec(w, z.data(), 0, 6, 6);
  EXPECT_EQ(z, (V{u, u, u, u, u, u, 4, 0, 1, 0, u, u}));
  Dvec(w, z.data(), 0, 1, 6);
  EXPECT_EQ(z, (V{u, u, u, u, u, u, 2, 2, 0.5, 0.5, u, u}));
}
