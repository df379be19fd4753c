// The external panel's likelihood pieces against finite differences of the
// panel's own objectives: the expected objective's gradient, Fisher's identity
// (which holds only when the E-step's weights are the families' posterior
// probabilities), and Louis' information as the Hessian of the observed objective.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/ext_panel.h"
#include "support/finite_differences.h"

namespace {

constexpr int kQ = 2, kKK = 4;     // coefficients before the frequency block; retained haplotypes
constexpr int kDim = kQ + kKK;     // block q+1 .. q+KK-1 and one parameter after it (1-based)
using Theta = std::vector<double>;  // 0-based; alpha_a = theta[kQ + a - 1]

// Retained codes in frequency order 5 (reference), 2, 7, 0; any other code maps
// outside the pair matrix, so a stray lookup is caught in checked builds.
const int* hapmap() {
  static const int m[8] = {3, 1000, 1, 1000, 1000, 0, 1000, 2};
  return m;
}

void add_family(PanelList& l, int type, std::initializer_list<std::vector<int>> entries) {
  FamilyNode f{type, static_cast<int>(l.entries.size()), 0};
  for (const std::vector<int>& h : entries) {
    FamilyEntry e;
    for (std::size_t j = 0; j < h.size(); j++) e.h[j] = h[j];
    l.entries.push_back(e);
  }
  f.last = static_cast<int>(l.entries.size());
  l.families.push_back(f);
}

// A trio, a duo and two singletons, the last of one entry. Parental pairs are in
// code order, which is not position order.
Window make_window() {
  Window w;
  w.KK = kKK;
  w.q = kQ;
  add_family(w.list_ex, kTrio, {{0, 5, 2, 7}, {2, 5, 0, 7}, {5, 7, 0, 2}, {5, 5, 2, 7}, {2, 2, 0, 5}, {0, 5, 7, 7}});
  add_family(w.list_ex, kDuo, {{2, 5, 7}, {0, 7, 5}, {5, 5, 2}, {2, 7, 0}});
  add_family(w.list_ex, kSingleton, {{0, 2}, {5, 7}, {2, 5}, {0, 7}, {7, 7}});
  add_family(w.list_ex, kSingleton, {{2, 7}});
  return w;
}

// P[a][b] = exp(alpha_a + alpha_b), alpha_0 = 0, on the upper triangle only (the
// lower stays 0, so reading it would show), and its normaliser.
struct Pairs {
  Mat<double> P = dmatrix(0, kKK - 1, 0, kKK - 1);
  double scale = 0.0;
  explicit Pairs(const Theta& t) {
    for (int a = 0; a < kKK; a++)
      for (int b = a; b < kKK; b++) {
        P[a][b] = std::exp((a ? t[kQ + a - 1] : 0.0) + (b ? t[kQ + b - 1] : 0.0));
        scale += (a == b ? 1.0 : 2.0) * P[a][b];
      }
  }
};

const Theta kTheta0 = {0.7, -0.2, -0.3, 0.4, -1.1, 0.9};

Theta moved(Theta t, int i, double di, int j = -1, double dj = 0.0) {
  t[i] += di;
  if (j >= 0) t[j] += dj;
  return t;
}

double objective(const Window& w, const Theta& t, bool observed) {
  Pairs p(t);
  double f = 0.0;
  (observed ? obs_loglike_ext : loglike_ext)(w, f, p.P, p.scale, hapmap());
  return f;
}

Window linked(const Theta& t) {
  Window w = make_window();
  link_eval_ext(w, Pairs(t).P, hapmap());
  return w;
}

}  // namespace

TEST(PanelEStep, CountsTriosDuosAndSingletonsAsTwoOneAndAHalfAndOnePairs) {
  Pairs p(kTheta0);
  for (auto [type, pairs] : {std::pair{kTrio, 2.0}, std::pair{kDuo, 1.5}, std::pair{kSingleton, 1.0}}) {
    Window w = make_window();
    std::erase_if(w.list_ex.families, [type = type](const FamilyNode& f) { return f.type != type; });
    w.nTR_new = w.nDU_new = w.nUN_new = 7;  // stale counts are replaced
    link_eval_ext(w, p.P, hapmap());
    double families = static_cast<double>(w.list_ex.families.size());
    EXPECT_EQ(w.nTR_new + w.nDU_new + w.nUN_new, families);
    EXPECT_EQ(ext_pairs(w), pairs * families);
    // The observed objective grows by N_ext per unit of log(scale).
    double f1 = 0.0, f2 = 0.0;
    obs_loglike_ext(w, f1, p.P, p.scale, hapmap());
    obs_loglike_ext(w, f2, p.P, p.scale * std::exp(1.0), hapmap());
    EXPECT_NEAR(f2 - f1, pairs * families, 1e-12);
  }
  Window w = linked(kTheta0);
  EXPECT_EQ(ext_pairs(w), 5.5);
}

TEST(PanelGradient, MatchesTheExpectedObjectiveWithWeightsHeldAndTheObservedOneAfterTheEStep) {
  for (const Theta& t0 : {kTheta0, moved(kTheta0, kQ, 0.5, kQ + 2, -0.8)}) {
    Window w0 = linked(t0);
    for (const Theta& t : {t0, moved(t0, kQ + 1, 1.3)}) {
      Pairs p(t);
      Theta g(kDim, 0.125);
      dloglike_ext(w0, g.data(), p.P, p.scale, hapmap());
      const Theta fd_g = fd::gradient([&](const Theta& u) { return objective(w0, u, false); }, t);
      for (int i = kQ; i < kQ + kKK - 1; i++) EXPECT_NEAR(g[i] - 0.125, fd_g[i], 1e-7) << "parameter " << i;
      for (int i : {0, 1, kDim - 1}) EXPECT_EQ(g[i], 0.125);
    }
    // Fisher's identity: at the E-step's own point the two gradients agree.
    Pairs p(t0);
    Theta g(kDim, 0.0);
    dloglike_ext(w0, g.data(), p.P, p.scale, hapmap());
    const Theta fd_g = fd::gradient([&](const Theta& u) { return objective(w0, u, true); }, t0);
    for (int i = kQ; i < kQ + kKK - 1; i++) EXPECT_NEAR(g[i], fd_g[i], 1e-7);
  }
}

TEST(PanelInformation, LouisIsTheHessianOfTheObservedObjectiveInItsBlockOnly) {
  for (const Theta& t : {kTheta0, moved(kTheta0, kQ, -0.9, kQ + 1, 0.6)}) {
    Window w = linked(t);
    Mat<double> I = dmatrix(1, kDim, 1, kDim);
    for (int i = 1; i <= kDim; i++)
      for (int j = 1; j <= kDim; j++) I[i][j] = 10.0 * i + j;
    Louis_ext(w, I, Pairs(t).P, hapmap());
    // h = 1e-4: truncation ~1e-8, rounding ~1e-7 at objective values near 20.
    const Mat<double> H = fd::hessian([&](const Theta& u) { return objective(w, u, true); }, t);
    for (int i = 1; i <= kDim; i++)
      for (int j = 1; j <= kDim; j++) {
        const bool block = i > kQ && i < kQ + kKK && j > kQ && j < kQ + kKK;
        EXPECT_NEAR(I[i][j] - (10.0 * i + j), block ? H[i][j] : 0.0, block ? 2e-6 : 0.0) << i << "," << j;
      }
  }
}

TEST(PanelEdges, FamiliesOfOneEntrySubtractNothingAndAnEmptyPanelChangesNothing) {
  Pairs p(kTheta0);
  Window w = make_window();
  w.list_ex.clear();
  add_family(w.list_ex, kTrio, {{0, 5, 2, 7}});
  add_family(w.list_ex, kDuo, {{2, 7, 0}});
  add_family(w.list_ex, kSingleton, {{2, 7}});
  link_eval_ext(w, p.P, hapmap());
  Mat<double> louis = dmatrix(1, kDim, 1, kDim), complete = dmatrix(1, kDim, 1, kDim);
  Louis_ext(w, louis, p.P, hapmap());
  ddloglike_ext(w, complete, ext_pairs(w), p.P, p.scale);
  for (int i = 1; i <= kDim; i++)
    for (int j = 1; j <= kDim; j++) EXPECT_NEAR(louis[i][j], complete[i][j], 1e-13) << i << "," << j;

  // No families: objectives, gradient and information stay as they were.
  w.list_ex.clear();
  w.nTR_new = 3;
  link_eval_ext(w, p.P, hapmap());
  EXPECT_EQ(w.nTR_new + w.nDU_new + w.nUN_new, 0);
  double f = 12.5, fo = 12.5;
  loglike_ext(w, f, p.P, p.scale, hapmap());
  obs_loglike_ext(w, fo, p.P, p.scale, hapmap());
  EXPECT_EQ(std::make_pair(f, fo), std::make_pair(12.5, 12.5));
  Theta g(kDim, 0.5);
  dloglike_ext(w, g.data(), p.P, p.scale, hapmap());
  EXPECT_EQ(g, Theta(kDim, 0.5));
  Mat<double> I = dmatrix(1, kDim, 1, kDim);
  I.fill(3.0);
  Louis_ext(w, I, p.P, hapmap());
  for (int i = 1; i <= kDim; i++)
    for (int j = 1; j <= kDim; j++) EXPECT_EQ(I[i][j], 3.0);
}
