#include "core/gamma.h"

#include <cfloat>
#include <cmath>

#include "core/nrerror.h"

namespace {
constexpr double kEps = DBL_EPSILON;
constexpr double kFpMin = DBL_MIN / DBL_EPSILON;
}  // namespace

double gammln(double xx) {
  static const double cof[6] = {76.18009172947146,     -86.50532032941677,    24.01409824083091,
                                -1.231739572450155,    0.1208650973866179e-2, -0.5395239384953e-5};
  double x = xx, y = xx;
  double tmp = x + 5.5;
  tmp -= (x + 0.5) * std::log(tmp);
  double ser = 1.000000000190015;
  for (int j = 0; j <= 5; j++) ser += cof[j] / ++y;
  return -tmp + std::log(2.5066282746310005 * ser / x);
}

void gser(double* gamser, double a, double x, double* gln) {
  *gln = gammln(a);
  if (x <= 0.0) {
    if (x < 0.0) nrerror("x less than 0 in routine gser");
    *gamser = 0.0;
    return;
  }
  double ap = a;
  double del = 1.0 / a, sum = del;
  for (int n = 1; n <= kGammaMaxIterations; n++) {
    ++ap;
    del *= x / ap;
    sum += del;
    if (std::fabs(del) < std::fabs(sum) * kEps) {
      *gamser = sum * std::exp(-x + a * std::log(x) - (*gln));
      return;
    }
  }
  nrerror("a too large, ITMAX too small in routine gser");
}

void gcf(double* gammcf, double a, double x, double* gln) {
  *gln = gammln(a);
  double b = x + 1.0 - a;
  double c = 1.0 / kFpMin;
  double d = 1.0 / b;
  double h = d;
  int i;
  for (i = 1; i <= kGammaMaxIterations; i++) {
    double an = -i * (i - a);
    b += 2.0;
    d = an * d + b;
    if (std::fabs(d) < kFpMin) d = kFpMin;
    c = b + an / c;
    if (std::fabs(c) < kFpMin) c = kFpMin;
    d = 1.0 / d;
    double del = d * c;
    h *= del;
    if (std::fabs(del - 1.0) < kEps) break;
  }
  if (i > kGammaMaxIterations) nrerror("a too large, ITMAX too small in gcf");
  *gammcf = std::exp(-x + a * std::log(x) - (*gln)) * h;
}

double gammq(double a, double x) {
  if (x < 0.0 || a <= 0.0) nrerror("Invalid arguments in routine gammq");
  double value, gln;
  if (x < (a + 1.0)) {
    gser(&value, a, x, &gln);
    return 1.0 - value;
  }
  gcf(&value, a, x, &gln);
  return value;
}
