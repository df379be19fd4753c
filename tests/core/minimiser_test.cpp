// The BFGS minimiser and its line search: convergence, the order of expected
// values and objectives, the silent returns, backtracking and step lengths.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/minimiser.h"

namespace {

using Point = std::vector<double>;

// Wraps an objective and gradient and records every call ('f', 'g', 'e') with its point.
struct Recorder {
  int n;
  std::function<double(const double*)> f;
  std::function<void(const double*, double*)> g;
  std::vector<std::pair<char, Point>> calls;

  MinimiserCallbacks callbacks() {
    auto log = [this](char k, const double* p) { calls.push_back({k, Point(p, p + n)}); };
    return {[this, log](const double* p) { log('f', p); return f(p); },
            [this, log](const double* p, double* out) { log('g', p); g(p, out); },
            [log](const double* p) { log('e', p); }};
  }
  std::vector<Point> points(char kind) const {
    std::vector<Point> out;
    for (const auto& c : calls)
      if (c.first == kind) out.push_back(c.second);
    return out;
  }
};

// 1/2 (x - c)' A (x - c), A positive definite; minimum at c = (1.5, -2, 0.25).
Recorder quadratic() {
  static const double A[3][3] = {{4.0, 1.0, 0.5}, {1.0, 3.0, -0.2}, {0.5, -0.2, 2.0}}, c[3] = {1.5, -2.0, 0.25};
  auto grad = [](const double* x, double* out) {
    for (int i = 0; i < 3; i++) {
      out[i] = 0.0;
      for (int j = 0; j < 3; j++) out[i] += A[i][j] * (x[j] - c[j]);
    }
  };
  auto f = [grad](const double* x) {
    double g[3], s = 0.0;
    grad(x, g);
    for (int i = 0; i < 3; i++) s += 0.5 * (x[i] - c[i]) * g[i];
    return s;
  };
  return {3, f, grad, {}};
}

Recorder linear(double c0, double c1) {
  return {2, [c0, c1](const double* x) { return c0 * x[0] + c1 * x[1]; },
          [c0, c1](const double*, double* out) { out[0] = c0, out[1] = c1; }, {}};
}

Recorder parabola() {  // x^2 in one dimension
  return {1, [](const double* x) { return x[0] * x[0]; }, [](const double* x, double* o) { o[0] = 2 * x[0]; }, {}};
}

double norm(const Point& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1]); }

}  // namespace

TEST(Minimiser, QuadraticReachesItsMinimumRefreshingBeforeEveryTrial) {
  Recorder r = quadratic();
  double p[3] = {3.0, 1.0, -1.0}, fret = -1.0;
  int iter = 0;
  dfpmin_CC(p, 3, fret, iter, r.callbacks());
  // The relative gradient test at 3e-8 leaves the point within ~1e-7.
  for (int i = 0; i < 3; i++) EXPECT_NEAR(p[i], (Point{1.5, -2.0, 0.25})[static_cast<std::size_t>(i)], 1e-6);
  EXPECT_NEAR(fret, 0.0, 1e-12);
  EXPECT_LT(iter, kMinimiserMaxIterations);
  // Entry: objective and gradient at the start with no refresh; afterwards every
  // objective and gradient is taken where the expected values were last refreshed.
  ASSERT_EQ(r.calls[0], std::make_pair('f', Point{3.0, 1.0, -1.0}));
  ASSERT_EQ(r.calls[1].first, 'g');
  for (std::size_t k = 2; k < r.calls.size(); k++) {
    if (r.calls[k].first == 'e') continue;
    std::size_t e = k;
    while (e > 0 && r.calls[e].first != 'e') e--;
    EXPECT_EQ(r.calls[e], std::make_pair('e', r.calls[k].second)) << "call " << k;
  }

  // A start where the gradient is exactly zero: the step test ends the first
  // iteration, with no trial made.
  Recorder z = quadratic();
  double q[3] = {1.5, -2.0, 0.25};
  fret = 99.0;
  dfpmin_CC(q, 3, fret, iter, z.callbacks());
  EXPECT_EQ(Point(q, q + 3), (Point{1.5, -2.0, 0.25}));
  EXPECT_EQ(iter, 1);
  EXPECT_EQ(fret, 0.0);
  EXPECT_EQ(z.points('f').size(), 1u);
  EXPECT_EQ(z.points('g').size(), 1u);
  EXPECT_EQ(z.points('e'), std::vector<Point>{Point(q, q + 3)});
}

TEST(Minimiser, RosenbrockReachesItsMinimumFromTheClassicStart) {
  Recorder r{2, [](const double* x) { return 100 * std::pow(x[1] - x[0] * x[0], 2) + std::pow(1 - x[0], 2); },
             [](const double* x, double* o) {
               o[0] = -400 * x[0] * (x[1] - x[0] * x[0]) - 2 * (1 - x[0]);
               o[1] = 200 * (x[1] - x[0] * x[0]);
             },
             {}};
  double p[2] = {-1.2, 1.0}, fret = 0.0;
  int iter = 0;
  dfpmin_CC(p, 2, fret, iter, r.callbacks());
  EXPECT_LT(iter, kMinimiserMaxIterations);
  EXPECT_NEAR(p[0], 1.0, 1e-4);
  EXPECT_NEAR(p[1], 1.0, 2e-4);
  EXPECT_DOUBLE_EQ(fret, r.f(p));
}

TEST(Minimiser, RejectedTrialsLeaveThePointAndRefreshItsExpectedValues) {
  // Every trial at or above the bound, or NaN: the line search falls back to the start.
  Recorder bound{2, [](const double* x) { return kObjectiveBound + std::pow(x[0] - 3, 2) + std::pow(x[1] - 3, 2); },
                 [](const double* x, double* o) { o[0] = 2 * (x[0] - 3), o[1] = 2 * (x[1] - 3); }, {}};
  Recorder nan{2, [](const double* x) { return x[0] == 0.5 ? 1.0 : std::numeric_limits<double>::quiet_NaN(); },
               [](const double*, double* o) { o[0] = 1.0, o[1] = -1.0; }, {}};
  for (Recorder* r : {&bound, &nan}) {
    double p[2] = {0.5, -1.0}, fret = 0.0;
    int iter = 0;
    dfpmin_CC(p, 2, fret, iter, r->callbacks());
    EXPECT_EQ(Point(p, p + 2), (Point{0.5, -1.0}));
    EXPECT_EQ(iter, 1);
    EXPECT_EQ(r->calls.back(), std::make_pair('e', Point{0.5, -1.0}));
    // The objective handed back is the last rejected trial's.
    Point last = r->points('f').back();
    EXPECT_NE(last, (Point{0.5, -1.0}));
    double expect = r->f(last.data());
    EXPECT_TRUE(fret == expect || (std::isnan(fret) && std::isnan(expect)));
  }
}

TEST(Minimiser, CohortFitAllowsStepsTwoAndAHalfTimesLongerAndNoFitGoesPastTheCap) {
  // Largest step = scale x max(|p|, n): n = 2 rules at the origin, |p| = 50 at
  // (30, 40). A linear objective never converges: from the origin full steps
  // along -(3, 4)/5 are taken until the cap of 100 iterations, silently.
  struct Case {
    double p0, p1, c0, c1, base;
  } cases[] = {{0.0, 0.0, 30.0, 40.0, 2.0}, {30.0, 40.0, 600.0, 800.0, 50.0}};
  for (const Case& k : cases) {
    for (int cohort = 0; cohort < 2; cohort++) {
      Recorder r = linear(k.c0, k.c1);
      double p[2] = {k.p0, k.p1}, fret;
      int iter;
      (cohort ? dfpmin_CO : dfpmin_CC)(p, 2, fret, iter, r.callbacks());
      const Point first = r.points('e').at(0);
      const double step = (cohort ? kStepScaleCohort : kStepScale) * k.base;
      EXPECT_NEAR(norm({first[0] - k.p0, first[1] - k.p1}), step, 1e-9) << "cohort " << cohort;
      if (k.p0 == 0.0) {
        EXPECT_EQ(iter, kMinimiserMaxIterations);
        EXPECT_NEAR(p[0], -100 * step * 0.6, 1e-9);
        EXPECT_NEAR(p[1], -100 * step * 0.8, 1e-9);
        EXPECT_NEAR(fret, -100 * step * 50.0, 1e-6);
      }
    }
  }
}

TEST(LineSearch, BacktrackingKeepsToTheFloorAndTheCap) {
  // Along x = 1 - 4 alam the parabola's minimum alam = 1/4 is taken at once.
  // Along x = 1 - 20 alam it is at 1/20, below the floor of a tenth: the second
  // trial is at 0.1 (x = -1, rejected), the third at exactly half of that.
  struct Case {
    double xi;
    Point trials;
  } cases[] = {{-4.0, {-3.0, 0.0}}, {-20.0, {-19.0, -1.0, 0.0}}};
  for (const Case& c : cases) {
    Recorder r = parabola();
    double xold[1] = {1.0}, g[1] = {2.0}, xi[1] = {c.xi}, x[1], f = 0.0;
    lnsrch(1, xold, 1.0, g, xi, x, f, 100.0, r.callbacks());
    std::vector<Point> trials = r.points('f');
    ASSERT_EQ(trials.size(), c.trials.size());
    for (std::size_t k = 0; k < trials.size(); k++) EXPECT_NEAR(trials[k][0], c.trials[k], 1e-12);
    EXPECT_EQ(x[0], trials.back()[0]);
  }
}

TEST(LineSearch, EvenTheFirstBacktrackAtMostHalvesTheStep) {
  // Linear along the direction, so the quadratic step is infinite. The step is
  // shortened to the largest step 4; trials at f = -2e6 and exactly -1e6 are
  // rejected and the search ends at a shorter accepted step instead of running away.
  Recorder r = linear(3e5, 4e5);
  double xold[2] = {0.0, 0.0}, g[2] = {3e5, 4e5}, xi[2] = {-3e5, -4e5}, x[2], f = 0.0;
  lnsrch(2, xold, 0.0, g, xi, x, f, 4.0, r.callbacks());
  std::vector<Point> trials = r.points('f');
  ASSERT_EQ(trials.size(), 3u);
  EXPECT_NEAR(norm(trials[0]), 4.0, 1e-12);
  EXPECT_NEAR(norm(trials[1]), 2.0, 1e-12);
  EXPECT_LT(norm(trials[2]), 1.0 + 1e-12);
  EXPECT_LT(std::fabs(f), kObjectiveBound);
  EXPECT_EQ(x[0], trials[2][0]);
}
