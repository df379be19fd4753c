// The numerical toolkit: index-range arrays, LU inversion with its deliberate
// pivot rules, and the incomplete gamma function behind every p-value.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>

#include "core/arrays.h"
#include "core/gamma.h"
#include "core/linalg.h"
#include "core/nrerror.h"

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

// The text a numerical fatal error hands up; the run then ends with its three
// lines on standard error.
std::string numerical_error(const std::function<void()>& run) {
  try {
    run();
  } catch (const NumericalError& e) {
    return e.what();
  }
  return "";
}

TEST(ArraysDeathTest, RefusedAllocationsNameTheirAllocator) {
  EXPECT_EQ(numerical_error([] { dvector(0, 1L << 62); }), "allocation failure in vector()");
  EXPECT_EQ(numerical_error([] { ivector(0, 1L << 62); }), "allocation failure in ivector()");
  EXPECT_EQ(numerical_error([] { cmatrix(0, 1L << 40, 0, 1L << 40); }), "allocation failure 2 in imatrix()");
  EXPECT_EQ(numerical_error([] { dmatrix3(0, 1L << 30, 0, 1L << 30, 0, 10); }), "error in dmatrix3");
  EXPECT_EXIT(report_nrerror("allocation failure in vector()"), testing::ExitedWithCode(1),
              "Numerical Recipes run-time error...\n.*\n...now exiting to system...");
}

TEST(Linalg, InvertsKnownMatricesAndPivotsAsIntended) {
  // [[4,7],[2,6]] has inverse [[0.6,-0.7],[-0.2,0.4]]; the symmetric 3 x 3
  // information-like matrix (det = 8) was inverted by hand.
  Mat<double> a = matrix(2, {4, 7, 2, 6}), b = matrix(3, {2, -1, 0, -1, 2, -1, 0, -1, 2});
  invv(a, 2);
  invv(b, 3);
  const double ia[2][2] = {{0.6, -0.7}, {-0.2, 0.4}};
  const double ib[3][3] = {{0.75, 0.5, 0.25}, {0.5, 1.0, 0.5}, {0.25, 0.5, 0.75}};
  for (int i = 1; i <= 3; i++)
    for (int j = 1; j <= 3; j++) {
      if (i < 3 && j < 3) {
        EXPECT_NEAR(a[i][j], ia[i - 1][j - 1], 1e-14);
      }
      EXPECT_NEAR(b[i][j], ib[i - 1][j - 1], 1e-14);
    }
  // Singular without a zero row: inverted through the tiny pivot 1e-40.
  Mat<double> s = matrix(2, {1, 2, 2, 4});
  invv(s, 2);
  EXPECT_GT(std::fabs(s[2][2]), 1e30);
  // Equal scaled pivot weights in column 1: the later row is the pivot.
  Vec<int> indx = ivector(1, 2);
  Mat<double> tie = matrix(2, {1, 0.5, -1, 0.25}), no_tie = matrix(2, {2, 1, 1, 3});
  ludcmp(tie, 2, indx);
  EXPECT_EQ(indx[1], 2);
  ludcmp(no_tie, 2, indx);
  EXPECT_EQ(indx[1], 1);
}

TEST(LinalgDeathTest, AllZeroRowStopsTheRun) {
  Mat<double> a = matrix(2, {1, 2, 0, 0});
  EXPECT_EQ(numerical_error([&] { invv(a, 2); }), "Sigmatrix in ludcmp");
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
  EXPECT_EQ(numerical_error([&] { gammq(0.0, 1.0); }), "Invalid arguments in routine gammq");
  EXPECT_EQ(numerical_error([&] { gammq(0.5, -1.0); }), "Invalid arguments in routine gammq");
  double p, gln;
  EXPECT_EQ(numerical_error([&] { gser(&p, 0.5, -1.0, &gln); }), "x less than 0 in routine gser");
}
