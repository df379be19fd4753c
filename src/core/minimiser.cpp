#include "core/minimiser.h"

#include <cmath>

#include "core/arrays.h"

namespace {

// The larger of a and b, where a NaN in a yields b (the comparison decides).
inline double larger(double a, double b) { return a > b ? a : b; }

}  // namespace

void lnsrch(int n, const double* xold, double fold, const double* g, double* xi, double* x, double& f,
            double stpmax, const MinimiserCallbacks& cb) {
  double sum = 0.0;
  for (int i = 0; i < n; i++) sum += xi[i] * xi[i];
  sum = std::sqrt(sum);
  if (sum > stpmax)
    for (int i = 0; i < n; i++) xi[i] *= stpmax / sum;

  double slope = 0.0;
  for (int i = 0; i < n; i++) slope += g[i] * xi[i];

  double test = 0.0;
  for (int i = 0; i < n; i++) {
    double temp = std::fabs(xi[i]) / larger(std::fabs(xold[i]), 1.0);
    if (temp > test) test = temp;
  }
  // A zero direction gives an infinite smallest step: the old point is kept at once.
  double alamin = kSmallestRelativeStep / test;

  double alam = 1.0, alam2 = 0.0, f2 = 0.0;
  for (;;) {
    if (alam < alamin) {
      for (int i = 0; i < n; i++) x[i] = xold[i];
      cb.expected(x);
      return;
    }
    for (int i = 0; i < n; i++) x[i] = xold[i] + alam * xi[i];
    cb.expected(x);
    f = cb.objective(x);
    if (std::fabs(f) < kObjectiveBound && f <= fold + kSufficientDecrease * alam * slope) return;

    double tmplam;
    if (alam == 1.0) {
      tmplam = -slope / (2.0 * (f - fold - slope));
    } else {
      double rhs1 = f - fold - alam * slope;
      double rhs2 = f2 - fold - alam2 * slope;
      double a = (rhs1 / (alam * alam) - rhs2 / (alam2 * alam2)) / (alam - alam2);
      double b = (-alam2 * rhs1 / (alam * alam) + alam * rhs2 / (alam2 * alam2)) / (alam - alam2);
      if (a == 0.0) {
        tmplam = -slope / (2.0 * b);
      } else {
        double disc = b * b - 3.0 * a * slope;
        if (disc < 0.0)
          tmplam = kBacktrackCap * alam;
        else if (b <= 0.0)
          tmplam = (-b + std::sqrt(disc)) / (3.0 * a);
        else
          tmplam = -slope / (b + std::sqrt(disc));
      }
    }
    // Every new step is at most half the last one, the first backtrack included:
    // otherwise an objective that is linear along the direction and crosses the
    // bound would give an infinite step and the search would never end.
    if (tmplam > kBacktrackCap * alam) tmplam = kBacktrackCap * alam;
    alam2 = alam;
    f2 = f;
    // A NaN step (from a NaN or infinite objective) falls to the floor.
    alam = larger(tmplam, kBacktrackFloor * alam);
  }
}

void dfpmin(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb, double step_scale) {
  Vec<double> dg = dvector(0, n - 1);
  Vec<double> g = dvector(0, n - 1);
  Vec<double> hdg = dvector(0, n - 1);
  Vec<double> pnew = dvector(0, n - 1);
  Vec<double> xi = dvector(0, n - 1);
  Mat<double> hessin = dmatrix(0, n - 1, 0, n - 1);

  double fp = cb.objective(p);
  cb.gradient(p, g.begin());
  double sum = 0.0;
  for (int i = 0; i < n; i++) {
    for (int j = 0; j < n; j++) hessin[i][j] = 0.0;
    hessin[i][i] = 1.0;
    xi[i] = -g[i];
    sum += p[i] * p[i];
  }
  double stpmax = step_scale * larger(std::sqrt(sum), static_cast<double>(n));
  fret = fp;

  for (int its = 1; its <= kMinimiserMaxIterations; its++) {
    iter = its;
    lnsrch(n, p, fp, g.begin(), xi.begin(), pnew.begin(), fret, stpmax, cb);
    fp = fret;
    for (int i = 0; i < n; i++) {
      xi[i] = pnew[i] - p[i];
      p[i] = pnew[i];
    }

    double test = 0.0;
    for (int i = 0; i < n; i++) {
      double temp = std::fabs(xi[i]) / larger(std::fabs(p[i]), 1.0);
      if (temp > test) test = temp;
    }
    if (test < kStepTolerance) return;

    for (int i = 0; i < n; i++) dg[i] = g[i];
    cb.gradient(p, g.begin());
    test = 0.0;
    double den = larger(fret, 1.0);
    for (int i = 0; i < n; i++) {
      double temp = std::fabs(g[i]) * larger(std::fabs(p[i]), 1.0) / den;
      if (temp > test) test = temp;
    }
    if (test < kGradientTolerance) return;

    for (int i = 0; i < n; i++) dg[i] = g[i] - dg[i];
    for (int i = 0; i < n; i++) {
      hdg[i] = 0.0;
      for (int j = 0; j < n; j++) hdg[i] += hessin[i][j] * dg[j];
    }
    double fac = 0.0, fae = 0.0, sumdg = 0.0, sumxi = 0.0;
    for (int i = 0; i < n; i++) {
      fac += dg[i] * xi[i];
      fae += dg[i] * hdg[i];
      sumdg += dg[i] * dg[i];
      sumxi += xi[i] * xi[i];
    }
    // Update only under enough curvature along the step.
    if (fac > std::sqrt(kGradientTolerance * sumdg * sumxi)) {
      fac = 1.0 / fac;
      double fad = 1.0 / fae;
      // dg now holds u = fac xi - fad hdg.
      for (int i = 0; i < n; i++) dg[i] = fac * xi[i] - fad * hdg[i];
      for (int i = 0; i < n; i++) {
        for (int j = i; j < n; j++) {
          hessin[i][j] += fac * xi[i] * xi[j] - fad * hdg[i] * hdg[j] + fae * dg[i] * dg[j];
          hessin[j][i] = hessin[i][j];
        }
      }
    }
    for (int i = 0; i < n; i++) {
      xi[i] = 0.0;
      for (int j = 0; j < n; j++) xi[i] -= hessin[i][j] * g[j];
    }
  }
}
