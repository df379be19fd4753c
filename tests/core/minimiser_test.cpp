// The BFGS minimiser and its line search: convergence on standard functions, the
// order in which expected values and objectives are evaluated, the silent returns,
// the backtracking steps, and the longer steps of the cohort fit.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/minimiser.h"

namespace {

// Records every call the minimiser makes, so tests can check the call order and
// the trial points.
struct Recorder {
  struct Call {
    char kind;  // 'f' objective, 'g' gradient, 'e' expected values
    std::vector<double> at;
  };
  int n;
  std::vector<Call> calls;
  std::function<double(const double*)> f;
  std::function<void(const double*, double*)> g;

  std::vector<double> point(const double* p) const { return std::vector<double>(p, p + n); }

  MinimiserCallbacks callbacks() {
    MinimiserCallbacks cb;
    cb.objective = [this](const double* p) {
      calls.push_back({'f', point(p)});
      return f(p);
    };
    cb.gradient = [this](const double* p, double* out) {
      calls.push_back({'g', point(p)});
      g(p, out);
    };
    cb.expected = [this](const double* p) { calls.push_back({'e', point(p)}); };
    return cb;
  }
  std::vector<std::vector<double>> points(char kind) const {
    std::vector<std::vector<double>> out;
    for (const Call& c : calls)
      if (c.kind == kind) out.push_back(c.at);
    return out;
  }
  int count(char kind) const { return static_cast<int>(points(kind).size()); }
};

// f = 1/2 (x - c)' A (x - c) with A symmetric positive definite.
Recorder quadratic() {
  static const double A[3][3] = {{4.0, 1.0, 0.5}, {1.0, 3.0, -0.2}, {0.5, -0.2, 2.0}};
  static const double c[3] = {1.5, -2.0, 0.25};
  Recorder r{3, {}, nullptr, nullptr};
  r.f = [](const double* x) {
    double s = 0.0;
    for (int i = 0; i < 3; i++)
      for (int j = 0; j < 3; j++) s += 0.5 * (x[i] - c[i]) * A[i][j] * (x[j] - c[j]);
    return s;
  };
  r.g = [](const double* x, double* out) {
    for (int i = 0; i < 3; i++) {
      out[i] = 0.0;
      for (int j = 0; j < 3; j++) out[i] += A[i][j] * (x[j] - c[j]);
    }
  };
  return r;
}

Recorder rosenbrock() {
  Recorder r{2, {}, nullptr, nullptr};
  r.f = [](const double* x) { return 100.0 * std::pow(x[1] - x[0] * x[0], 2) + std::pow(1.0 - x[0], 2); };
  r.g = [](const double* x, double* out) {
    out[0] = -400.0 * x[0] * (x[1] - x[0] * x[0]) - 2.0 * (1.0 - x[0]);
    out[1] = 200.0 * (x[1] - x[0] * x[0]);
  };
  return r;
}

// f = c . x: unbounded below, so every line search accepts its full (capped) step.
Recorder linear(double c0, double c1) {
  Recorder r{2, {}, nullptr, nullptr};
  r.f = [c0, c1](const double* x) { return c0 * x[0] + c1 * x[1]; };
  r.g = [c0, c1](const double*, double* out) {
    out[0] = c0;
    out[1] = c1;
  };
  return r;
}

double norm(const std::vector<double>& v) {
  double s = 0.0;
  for (double x : v) s += x * x;
  return std::sqrt(s);
}

}  // namespace

// ---- Convergence ------------------------------------------------------------------

TEST(Minimiser, QuadraticReachesItsMinimum) {
  Recorder r = quadratic();
  double p[3] = {0.0, 0.0, 0.0};
  double fret = -1.0;
  int iter = 0;
  dfpmin_CC(p, 3, fret, iter, r.callbacks());
  // Tolerance: the relative gradient test at 3e-8 leaves the point within ~1e-7.
  EXPECT_NEAR(p[0], 1.5, 1e-6);
  EXPECT_NEAR(p[1], -2.0, 1e-6);
  EXPECT_NEAR(p[2], 0.25, 1e-6);
  EXPECT_NEAR(fret, 0.0, 1e-12);
  EXPECT_GE(iter, 3);
  EXPECT_LT(iter, kMinimiserMaxIterations);
}

TEST(Minimiser, RosenbrockReachesItsMinimumFromTheClassicStart) {
  Recorder r = rosenbrock();
  double p[2] = {-1.2, 1.0};
  double fret = 0.0;
  int iter = 0;
  dfpmin_CC(p, 2, fret, iter, r.callbacks());
  EXPECT_LT(iter, kMinimiserMaxIterations);
  EXPECT_NEAR(p[0], 1.0, 1e-4);
  EXPECT_NEAR(p[1], 1.0, 2e-4);
  EXPECT_LT(fret, 1e-8);
  EXPECT_DOUBLE_EQ(fret, r.f(p));
}

TEST(Minimiser, ExpectedValuesPrecedeEveryObjectiveButTheFirst) {
  Recorder r = quadratic();
  double p[3] = {3.0, 1.0, -1.0};
  double fret;
  int iter;
  dfpmin_CC(p, 3, fret, iter, r.callbacks());
  ASSERT_GE(r.calls.size(), 3u);
  // Entry: objective then gradient at the start, no refresh before them.
  EXPECT_EQ(r.calls[0].kind, 'f');
  EXPECT_EQ(r.calls[0].at, (std::vector<double>{3.0, 1.0, -1.0}));
  EXPECT_EQ(r.calls[1].kind, 'g');
  for (std::size_t k = 2; k < r.calls.size(); k++) {
    if (r.calls[k].kind != 'f') continue;
    EXPECT_EQ(r.calls[k - 1].kind, 'e') << "call " << k;
    EXPECT_EQ(r.calls[k - 1].at, r.calls[k].at) << "call " << k;
  }
  // Every gradient after the first is taken where the expected values were last refreshed.
  for (std::size_t k = 2; k < r.calls.size(); k++) {
    if (r.calls[k].kind != 'g') continue;
    std::size_t e = k;
    while (r.calls[e].kind != 'e') e--;
    EXPECT_EQ(r.calls[e].at, r.calls[k].at) << "call " << k;
  }
}

TEST(Minimiser, NoParametersEndsAtOnce) {
  Recorder r{0, {}, [](const double*) { return 4.0; }, [](const double*, double*) {}};
  double fret = 0.0;
  int iter = 0;
  dfpmin_CS_pl(nullptr, 0, fret, iter, r.callbacks());
  EXPECT_EQ(iter, 1);
  EXPECT_EQ(fret, 4.0);
  EXPECT_EQ(r.count('f'), 1);
}

// ---- Silent returns ---------------------------------------------------------------

TEST(Minimiser, ZeroGradientStartKeepsThePointAndStopsInTheFirstIteration) {
  Recorder r = quadratic();
  double p[3] = {1.5, -2.0, 0.25};  // the exact minimum: gradient exactly zero
  double fret = 99.0;
  int iter = 0;
  dfpmin_CC(p, 3, fret, iter, r.callbacks());
  EXPECT_EQ(p[0], 1.5);
  EXPECT_EQ(p[1], -2.0);
  EXPECT_EQ(p[2], 0.25);
  EXPECT_EQ(iter, 1);
  EXPECT_EQ(fret, 0.0);  // the objective at the start; no trial was made
  EXPECT_EQ(r.count('f'), 1);
  EXPECT_EQ(r.count('g'), 1);  // the step test ends it before a second gradient
  ASSERT_EQ(r.count('e'), 1);
  EXPECT_EQ(r.points('e')[0], (std::vector<double>{1.5, -2.0, 0.25}));
}

TEST(Minimiser, ObjectiveAtTheBoundEverywhereLeavesThePointUnchanged) {
  // f = 1e6 + |x - 3|^2: the start itself is at the bound, and every trial is too.
  Recorder r{2, {}, nullptr, nullptr};
  r.f = [](const double* x) { return kObjectiveBound + std::pow(x[0] - 3, 2) + std::pow(x[1] - 3, 2); };
  r.g = [](const double* x, double* out) {
    out[0] = 2 * (x[0] - 3);
    out[1] = 2 * (x[1] - 3);
  };
  double p[2] = {0.5, -1.0};
  double fret = 0.0;
  int iter = 0;
  dfpmin_CC(p, 2, fret, iter, r.callbacks());
  EXPECT_EQ(p[0], 0.5);
  EXPECT_EQ(p[1], -1.0);
  EXPECT_EQ(iter, 1);
  // The expected values are left at the old point ...
  EXPECT_EQ(r.calls.back().kind, 'e');
  EXPECT_EQ(r.calls.back().at, (std::vector<double>{0.5, -1.0}));
  // ... while the objective handed back is that of the last rejected trial.
  std::vector<double> last = r.points('f').back();
  EXPECT_GT(r.count('f'), 2);
  EXPECT_EQ(fret, r.f(last.data()));
  EXPECT_NE(last, (std::vector<double>{0.5, -1.0}));
}

TEST(Minimiser, NaNTrialsAreNeverAccepted) {
  // Finite only at the start; the line search must fall back to it.
  Recorder r{1, {}, nullptr, nullptr};
  r.f = [](const double* x) { return x[0] == 2.0 ? 1.0 : std::numeric_limits<double>::quiet_NaN(); };
  r.g = [](const double*, double* out) { out[0] = 1.0; };
  double p[1] = {2.0};
  double fret = 0.0;
  int iter = 0;
  dfpmin_CC(p, 1, fret, iter, r.callbacks());
  EXPECT_EQ(p[0], 2.0);
  EXPECT_EQ(iter, 1);
  EXPECT_TRUE(std::isnan(fret));
  EXPECT_EQ(r.calls.back().at, std::vector<double>{2.0});
}

TEST(Minimiser, GivesUpSilentlyAfterOneHundredIterations) {
  // A linear objective never converges; steps of fixed length continue to the cap.
  Recorder r = linear(3.0, 4.0);
  double p[2] = {0.0, 0.0};
  double fret = 0.0;
  int iter = 0;
  dfpmin_CC(p, 2, fret, iter, r.callbacks());
  EXPECT_EQ(iter, kMinimiserMaxIterations);
  // Largest step 2 x max(|p|, n) = 4 along -(3, 4)/5, taken 100 times.
  EXPECT_NEAR(p[0], -100 * 4 * 0.6, 1e-9);
  EXPECT_NEAR(p[1], -100 * 4 * 0.8, 1e-9);
  EXPECT_NEAR(fret, -100 * 4 * 5.0, 1e-9);
}

// ---- Step length ------------------------------------------------------------------

TEST(Minimiser, CohortFitAllowsStepsTwoAndAHalfTimesLonger) {
  struct Case {
    double p0, p1, c0, c1, base;  // base: max(|p|, n) at the start
  } cases[] = {{0.0, 0.0, 30.0, 40.0, 2.0}, {30.0, 40.0, 600.0, 800.0, 50.0}};
  for (const Case& k : cases) {
    double first_step[2];
    for (int cohort = 0; cohort < 2; cohort++) {
      Recorder r = linear(k.c0, k.c1);
      double p[2] = {k.p0, k.p1};
      double fret;
      int iter;
      if (cohort)
        dfpmin_CO(p, 2, fret, iter, r.callbacks());
      else
        dfpmin_CC(p, 2, fret, iter, r.callbacks());
      std::vector<double> trial = r.points('e').at(0);
      first_step[cohort] = norm({trial[0] - k.p0, trial[1] - k.p1});
    }
    EXPECT_NEAR(first_step[0], kStepScale * k.base, 1e-9);
    EXPECT_NEAR(first_step[1], kStepScaleCohort * k.base, 1e-9);
    EXPECT_NEAR(first_step[1] / first_step[0], 2.5, 1e-12);
  }
}

TEST(LineSearch, ShortDirectionIsNotLengthened) {
  Recorder r{1, {}, [](const double* x) { return x[0] * x[0]; }, nullptr};
  double xold[1] = {1.0}, g[1] = {2.0}, xi[1] = {-0.5}, x[1];
  double f = 0.0;
  lnsrch(1, xold, 1.0, g, xi, x, f, 100.0, r.callbacks());
  EXPECT_EQ(xi[0], -0.5);
  EXPECT_EQ(x[0], 0.5);
  EXPECT_EQ(f, 0.25);
}

// ---- Backtracking -----------------------------------------------------------------

TEST(LineSearch, FirstBacktrackTakesTheQuadraticMinimiser) {
  // Along x = 1 - 4 alam, f = x^2 is a parabola in alam with minimum at alam = 1/4.
  Recorder r{1, {}, [](const double* x) { return x[0] * x[0]; }, nullptr};
  double xold[1] = {1.0}, g[1] = {2.0}, xi[1] = {-4.0}, x[1];
  double f = 0.0;
  lnsrch(1, xold, 1.0, g, xi, x, f, 100.0, r.callbacks());
  auto trials = r.points('f');
  ASSERT_EQ(trials.size(), 2u);
  EXPECT_EQ(trials[0][0], -3.0);
  EXPECT_NEAR(trials[1][0], 0.0, 1e-15);
  EXPECT_NEAR(x[0], 0.0, 1e-15);
  EXPECT_NEAR(f, 0.0, 1e-30);
}

TEST(LineSearch, BacktrackingRespectsTheFloorAndTheCap) {
  // x = 1 - 20 alam: the parabola's minimum alam = 1/20 is below the floor of a
  // tenth, so the second trial is at alam = 0.1 (x = -1, rejected); the next
  // interpolation finds 0.05 again, exactly half of 0.1, which the cap allows.
  Recorder r{1, {}, [](const double* x) { return x[0] * x[0]; }, nullptr};
  double xold[1] = {1.0}, g[1] = {2.0}, xi[1] = {-20.0}, x[1];
  double f = 0.0;
  lnsrch(1, xold, 1.0, g, xi, x, f, 100.0, r.callbacks());
  auto trials = r.points('f');
  ASSERT_EQ(trials.size(), 3u);
  EXPECT_EQ(trials[0][0], -19.0);
  EXPECT_NEAR(trials[1][0], -1.0, 1e-14);
  EXPECT_NEAR(trials[2][0], 0.0, 1e-12);
  EXPECT_NEAR(x[0], 0.0, 1e-12);
}

TEST(LineSearch, EvenTheFirstBacktrackAtMostHalvesTheStep) {
  // Linear along the direction: the quadratic step is infinite. Trials at the
  // bound (f = -2e6, then exactly -1e6) are rejected, and the search then ends
  // at a shorter accepted step instead of running away.
  Recorder r = linear(3e5, 4e5);
  double xold[2] = {0.0, 0.0}, g[2] = {3e5, 4e5}, xi[2] = {-3e5, -4e5}, x[2];
  double f = 0.0;
  lnsrch(2, xold, 0.0, g, xi, x, f, 4.0, r.callbacks());
  auto trials = r.points('f');
  ASSERT_EQ(trials.size(), 3u);
  EXPECT_NEAR(norm(trials[0]), 4.0, 1e-12);
  EXPECT_NEAR(norm(trials[1]), 2.0, 1e-12);
  EXPECT_LT(norm(trials[2]), 1.0 + 1e-12);
  EXPECT_LT(std::fabs(f), kObjectiveBound);
  EXPECT_LT(f, 0.0);
  EXPECT_EQ(x[0], trials[2][0]);
}

TEST(LineSearch, DirectionLongerThanTheLargestStepIsShortened) {
  Recorder r = linear(3.0, 4.0);
  double xold[2] = {0.0, 0.0}, g[2] = {3.0, 4.0}, xi[2] = {-30.0, -40.0}, x[2];
  double f = 0.0;
  lnsrch(2, xold, 0.0, g, xi, x, f, 5.0, r.callbacks());
  EXPECT_NEAR(xi[0], -3.0, 1e-14);
  EXPECT_NEAR(xi[1], -4.0, 1e-14);
  EXPECT_NEAR(x[0], -3.0, 1e-14);
  EXPECT_NEAR(f, -25.0, 1e-12);
}
