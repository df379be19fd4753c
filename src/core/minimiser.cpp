#include "core/minimiser.h"

#include <algorithm>
#include <cmath>
#include <vector>

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

namespace {

// Working storage of the minimiser, kept per thread and grown as needed, so that
// neither a fit nor its iterations allocate. The inverse-Hessian approximation
// is a contiguous row-major n x n block.
struct DfpminWork {
  std::vector<double> dg, g, hdg, pnew, xi, hessin;
  void size(int n) {
    const std::size_t N = static_cast<std::size_t>(n);
    for (std::vector<double>* v : {&dg, &g, &hdg, &pnew, &xi}) v->resize(N);
    hessin.resize(N * N);
  }
};

// Copies the upper triangle of the n x n block h into the lower, tile by tile.
void mirror_upper(double* h, std::size_t n) {
  constexpr std::size_t tile = 32;
  for (std::size_t i0 = 0; i0 < n; i0 += tile)
    for (std::size_t j0 = i0; j0 < n; j0 += tile)
      for (std::size_t i = i0; i < std::min(i0 + tile, n); i++)
        for (std::size_t j = std::max(j0, i + 1); j < std::min(j0 + tile, n); j++) h[j * n + i] = h[i * n + j];
}

}  // namespace

void dfpmin(double* p, int n, double& fret, int& iter, const MinimiserCallbacks& cb, double step_scale) {
  // A minimisation started from inside another one's callbacks gets its own storage.
  thread_local DfpminWork shared;
  thread_local bool in_use = false;
  DfpminWork nested;
  DfpminWork& work = in_use ? nested : shared;
  const bool owner = !in_use;
  in_use = true;
  struct Release {
    bool owner;
    ~Release() {
      if (owner) in_use = false;
    }
  } release{owner};
  work.size(n);
  const std::size_t N = static_cast<std::size_t>(n);
  double* dg = work.dg.data();
  double* g = work.g.data();
  double* hdg = work.hdg.data();
  double* pnew = work.pnew.data();
  double* xi = work.xi.data();
  double* hessin = work.hessin.data();  // hessin[i * N + j]

  double fp = cb.objective(p);
  cb.gradient(p, g);
  double sum = 0.0;
  for (std::size_t i = 0; i < N; i++) {
    for (std::size_t j = 0; j < N; j++) hessin[i * N + j] = 0.0;
    hessin[i * N + i] = 1.0;
    xi[i] = -g[i];
    sum += p[i] * p[i];
  }
  double stpmax = step_scale * larger(std::sqrt(sum), static_cast<double>(n));
  fret = fp;

  for (int its = 1; its <= kMinimiserMaxIterations; its++) {
    iter = its;
    lnsrch(n, p, fp, g, xi, pnew, fret, stpmax, cb);
    fp = fret;
    for (std::size_t i = 0; i < N; i++) {
      xi[i] = pnew[i] - p[i];
      p[i] = pnew[i];
    }

    double test = 0.0;
    for (std::size_t i = 0; i < N; i++) {
      double temp = std::fabs(xi[i]) / larger(std::fabs(p[i]), 1.0);
      if (temp > test) test = temp;
    }
    if (test < kStepTolerance) return;

    for (std::size_t i = 0; i < N; i++) dg[i] = g[i];
    cb.gradient(p, g);
    test = 0.0;
    double den = larger(fret, 1.0);
    for (std::size_t i = 0; i < N; i++) {
      double temp = std::fabs(g[i]) * larger(std::fabs(p[i]), 1.0) / den;
      if (temp > test) test = temp;
    }
    if (test < kGradientTolerance) return;

    for (std::size_t i = 0; i < N; i++) dg[i] = g[i] - dg[i];
    for (std::size_t i = 0; i < N; i++) {
      const double* hi = hessin + i * N;
      double s = 0.0;
      for (std::size_t j = 0; j < N; j++) s += hi[j] * dg[j];
      hdg[i] = s;
    }
    double fac = 0.0, fae = 0.0, sumdg = 0.0, sumxi = 0.0;
    for (std::size_t i = 0; i < N; i++) {
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
      for (std::size_t i = 0; i < N; i++) dg[i] = fac * xi[i] - fad * hdg[i];
      for (std::size_t i = 0; i < N; i++) {
        double* hi = hessin + i * N;
        for (std::size_t j = i; j < N; j++) hi[j] += fac * xi[i] * xi[j] - fad * hdg[i] * hdg[j] + fae * dg[i] * dg[j];
      }
      mirror_upper(hessin, N);
    }
    for (std::size_t i = 0; i < N; i++) {
      const double* hi = hessin + i * N;
      double s = 0.0;
      for (std::size_t j = 0; j < N; j++) s -= hi[j] * g[j];
      xi[i] = s;
    }
  }
}
