#include "core/linalg.h"

#include <cmath>

void ludcmp(Mat<double>& a, int n, Vec<int>& indx) {
  Vec<double> vv = dvector(1, n);
  for (int i = 1; i <= n; i++) {
    double big = 0.0;
    for (int j = 1; j <= n; j++) {
      double temp = std::fabs(a[i][j]);
      if (temp > big) big = temp;
    }
    if (big == 0.0) nrerror("Sigmatrix in ludcmp");
    vv[i] = 1.0 / big;
  }
  for (int j = 1; j <= n; j++) {
    for (int i = 1; i < j; i++) {
      double sum = a[i][j];
      for (int k = 1; k < i; k++) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
    }
    double big = 0.0;
    int imax = j;
    for (int i = j; i <= n; i++) {
      double sum = a[i][j];
      for (int k = 1; k < j; k++) sum -= a[i][k] * a[k][j];
      a[i][j] = sum;
      double dum = vv[i] * std::fabs(sum);
      if (dum >= big) {
        big = dum;
        imax = i;
      }
    }
    if (j != imax) {
      for (int k = 1; k <= n; k++) {
        double dum = a[imax][k];
        a[imax][k] = a[j][k];
        a[j][k] = dum;
      }
      vv[imax] = vv[j];
    }
    indx[j] = imax;
    if (a[j][j] == 0.0) a[j][j] = kLuTiny;
    if (j != n) {
      for (int i = j + 1; i <= n; i++) a[i][j] /= a[j][j];
    }
  }
}

void lubksb(const Mat<double>& a, int n, const Vec<int>& indx, Vec<double>& b) {
  int ii = 0;
  for (int i = 1; i <= n; i++) {
    int ip = indx[i];
    double sum = b[ip];
    b[ip] = b[i];
    if (ii) {
      for (int j = ii; j <= i - 1; j++) sum -= a[i][j] * b[j];
    } else if (sum != 0.0) {
      ii = i;
    }
    b[i] = sum;
  }
  for (int i = n; i >= 1; i--) {
    double sum = b[i];
    for (int j = i + 1; j <= n; j++) sum -= a[i][j] * b[j];
    b[i] = sum / a[i][i];
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
