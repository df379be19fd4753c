#include "core/linalg.h"

#include <cmath>
#include <vector>

// The loops run on row pointers with 0-based offsets (a[i][j] is at rows[i - 1][j - 1])
// so that every inner product walks contiguous memory; the terms and their order
// are those of the 1-based formulation.

void ludcmp(Mat<double>& a, int n, Vec<int>& indx) {
  const std::size_t N = static_cast<std::size_t>(n);
  std::vector<double*> rows(N);
  for (std::size_t i = 0; i < N; i++) rows[i] = &a[static_cast<long>(i) + 1][1];
  std::vector<double> vv(N);
  for (std::size_t i = 0; i < N; i++) {
    double big = 0.0;
    for (std::size_t j = 0; j < N; j++) {
      double temp = std::fabs(rows[i][j]);
      if (temp > big) big = temp;
    }
    if (big == 0.0) nrerror("Sigmatrix in ludcmp");
    vv[i] = 1.0 / big;
  }
  // Column j is worked on in a contiguous copy.
  std::vector<double> col(N);
  for (std::size_t j = 0; j < N; j++) {
    for (std::size_t i = 0; i < N; i++) col[i] = rows[i][j];
    for (std::size_t i = 0; i < j; i++) {
      const double* ai = rows[i];
      double sum = col[i];
      for (std::size_t k = 0; k < i; k++) sum -= ai[k] * col[k];
      col[i] = sum;
    }
    double big = 0.0;
    std::size_t imax = j;
    for (std::size_t i = j; i < N; i++) {
      const double* ai = rows[i];
      double sum = col[i];
      for (std::size_t k = 0; k < j; k++) sum -= ai[k] * col[k];
      col[i] = sum;
      double dum = vv[i] * std::fabs(sum);
      if (dum >= big) {
        big = dum;
        imax = i;
      }
    }
    for (std::size_t i = 0; i < N; i++) rows[i][j] = col[i];
    if (j != imax) {
      for (std::size_t k = 0; k < N; k++) {
        double dum = rows[imax][k];
        rows[imax][k] = rows[j][k];
        rows[j][k] = dum;
      }
      vv[imax] = vv[j];
    }
    indx[static_cast<long>(j) + 1] = static_cast<int>(imax) + 1;
    if (rows[j][j] == 0.0) rows[j][j] = kLuTiny;
    if (j + 1 != N) {
      const double pivot = rows[j][j];
      for (std::size_t i = j + 1; i < N; i++) rows[i][j] /= pivot;
    }
  }
}

void lubksb(const Mat<double>& a, int n, const Vec<int>& indx, Vec<double>& b) {
  if (n < 1) return;
  const std::size_t N = static_cast<std::size_t>(n);
  double* x = &b[1];  // x[i - 1] = b[i]
  std::size_t ii = 0;  // 1 + the first index with a non-zero value; 0 while none
  for (std::size_t i = 0; i < N; i++) {
    const double* ai = &a[static_cast<long>(i) + 1][1];
    const std::size_t ip = static_cast<std::size_t>(indx[static_cast<long>(i) + 1]) - 1;
    double sum = x[ip];
    x[ip] = x[i];
    if (ii) {
      for (std::size_t j = ii - 1; j < i; j++) sum -= ai[j] * x[j];
    } else if (sum != 0.0) {
      ii = i + 1;
    }
    x[i] = sum;
  }
  for (std::size_t i = N; i-- > 0;) {
    const double* ai = &a[static_cast<long>(i) + 1][1];
    double sum = x[i];
    for (std::size_t j = i + 1; j < N; j++) sum -= ai[j] * x[j];
    x[i] = sum / ai[i];
  }
}

void invv(Mat<double>& a, int n) {
  Vec<int> indx = ivector(1, n);
  Vec<double> col = dvector(1, n);
  Mat<double> y = dmatrix(1, n, 1, n);
  ludcmp(a, n, indx);
  for (int j = 1; j <= n; j++) {
    for (int i = 1; i <= n; i++) col[i] = 0.0;
    col[j] = 1.0;
    lubksb(a, n, indx, col);
    for (int i = 1; i <= n; i++) y[i][j] = col[i];
  }
  for (int i = 1; i <= n; i++)
    for (int j = 1; j <= n; j++) a[i][j] = y[i][j];
}
