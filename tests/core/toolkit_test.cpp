// The numerical toolkit: index-range arrays, LU inversion with its deliberate
// pivot rules, and the incomplete gamma function behind every p-value.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "core/arrays.h"
#include "core/gamma.h"
#include "core/linalg.h"

namespace {

Mat<double> matrix(int n, std::initializer_list<double> rows) {
  Mat<double> a = dmatrix(1, n, 1, n);
  auto it = rows.begin();
  for (int i = 1; i <= n; i++)
    for (int j = 1; j <= n; j++) a[i][j] = *it++;
  return a;
}

std::string pvalue_text(double z) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.2e", gammq(0.5, z * z / 2.0));
  return buf;
}

}  // namespace

TEST(Arrays, IndexRangesStartWhereTheCallerSays) {
  Vec<double> v = dvector(-1, 3);
  v[-1] = 7.0;
  v[3] = 8.0;
  EXPECT_EQ(v.size(), 5);
  EXPECT_EQ(v[-1] + v[3], 15.0);
  Mat<int> m = imatrix(1, 2, 0, 4);
  m[2][4] = 5;
  m[1][0] = 1;
  EXPECT_EQ(m[2][4] + m[1][0], 6);
  EXPECT_EQ(m[1][1], 0);
  Arr3<double> a = dmatrix3(0, 1, 0, 2, 1, 3);
  a(1, 2, 3) = 2.5;
  EXPECT_EQ(a(1, 2, 3), 2.5);
  EXPECT_EQ(a(0, 0, 1), 0.0);
}

TEST(ArraysDeathTest, RefusedAllocationsNameTheirAllocator) {
  EXPECT_EXIT(dvector(0, 1L << 62), testing::ExitedWithCode(1), "allocation failure in vector\\(\\)");
  EXPECT_EXIT(ivector(0, 1L << 62), testing::ExitedWithCode(1), "allocation failure in ivector\\(\\)");
  EXPECT_EXIT(cmatrix(0, 1L << 40, 0, 1L << 40), testing::ExitedWithCode(1), "allocation failure 2 in imatrix\\(\\)");
  EXPECT_EXIT(dmatrix3(0, 1L << 30, 0, 1L << 30, 0, 10), testing::ExitedWithCode(1), "error in dmatrix3");
  EXPECT_EXIT(dvector(0, 1L << 62), testing::ExitedWithCode(1),
              "Numerical Recipes run-time error...\n.*\n...now exiting to system...");
}

TEST(Linalg, InvertsKnownMatrices) {
  // [[4,7],[2,6]] has inverse [[0.6,-0.7],[-0.2,0.4]].
  Mat<double> a = matrix(2, {4, 7, 2, 6});
  invv(a, 2);
  EXPECT_NEAR(a[1][1], 0.6, 1e-14);
  EXPECT_NEAR(a[1][2], -0.7, 1e-14);
  EXPECT_NEAR(a[2][1], -0.2, 1e-14);
  EXPECT_NEAR(a[2][2], 0.4, 1e-14);
  // A symmetric 3 x 3 information-like matrix; inverse worked by hand (det = 8).
  Mat<double> b = matrix(3, {2, -1, 0, -1, 2, -1, 0, -1, 2});
  invv(b, 3);
  const double expect[3][3] = {{0.75, 0.5, 0.25}, {0.5, 1.0, 0.5}, {0.25, 0.5, 0.75}};
  for (int i = 1; i <= 3; i++)
    for (int j = 1; j <= 3; j++) EXPECT_NEAR(b[i][j], expect[i - 1][j - 1], 1e-14);
}

TEST(Linalg, SingularMatrixWithoutZeroRowInvertsThroughTheTinyPivot) {
  Mat<double> a = matrix(2, {1, 2, 2, 4});
  invv(a, 2);
  EXPECT_GT(std::fabs(a[2][2]), 1e30);
}

TEST(Linalg, EqualPivotWeightsChooseTheLaterRow) {
  // Both rows have scaled weight 1 in column 1: the later row is the pivot.
  Mat<double> a = matrix(2, {1, 0.5, -1, 0.25});
  Vec<int> indx = ivector(1, 2);
  ludcmp(a, 2, indx);
  EXPECT_EQ(indx[1], 2);
  Mat<double> b = matrix(2, {2, 1, 1, 3});
  ludcmp(b, 2, indx);
  EXPECT_EQ(indx[1], 1);
}

TEST(LinalgDeathTest, AllZeroRowStopsTheRun) {
  Mat<double> a = matrix(2, {1, 2, 0, 0});
  EXPECT_EXIT(invv(a, 2), testing::ExitedWithCode(1), "Sigmatrix in ludcmp");
}

TEST(Gamma, UpperTailOfOneDegreeOfFreedomIsTheTwoSidedNormalPValue) {
  EXPECT_EQ(pvalue_text(1.959964), "5.00e-02");
  EXPECT_EQ(pvalue_text(-1.959964), "5.00e-02");
  EXPECT_EQ(pvalue_text(0.0), "1.00e+00");
  // Two-sided normal tails: 2 * pnorm(-z) in R.
  EXPECT_NEAR(gammq(0.5, 0.5), 0.31731050786291415, 1e-12);             // z = 1
  EXPECT_NEAR(gammq(0.5, 3.0 * 3.0 / 2), 0.0026997960632601866, 1e-13);  // z = 3
  EXPECT_NEAR(gammq(0.5, 8.0 * 8.0 / 2) / 1.2441921148543082e-15, 1.0, 1e-9);
  EXPECT_NEAR(gammq(0.5, 0.3 * 0.3 / 2), 0.7641771556220953, 1e-12);
  EXPECT_EQ(gammq(2.0, 0.0), 1.0);
  EXPECT_NEAR(gammln(5.0), std::log(24.0), 1e-10);
  EXPECT_NEAR(gammln(0.5), 0.5 * std::log(M_PI), 1e-10);
}

TEST(GammaDeathTest, InvalidArgumentsStopTheRun) {
  EXPECT_EXIT(gammq(0.0, 1.0), testing::ExitedWithCode(1), "Invalid arguments in routine gammq");
  EXPECT_EXIT(gammq(0.5, -1.0), testing::ExitedWithCode(1), "Invalid arguments in routine gammq");
  double p, gln;
  EXPECT_EXIT(gser(&p, 0.5, -1.0, &gln), testing::ExitedWithCode(1), "x less than 0 in routine gser");
}
