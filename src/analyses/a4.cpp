// Case-control analysis of a model whose only terms are genetic: controls carry a
// haplotype pair with Hardy-Weinberg probability c(a,b) f_a f_b, cases with that
// probability tilted by exp(beta'Z(a,b)), each group normalised over all pairs of
// retained haplotypes. Frequencies and effects are fitted jointly by damped Newton
// steps on the exact observed information (complete minus missing information);
// the external panel adds its likelihood and Louis information when it takes part.
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "analyses/a4.h"
#include "analyses/analyses.h"
#include "core/ext_panel.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "design/coding.h"

namespace {

constexpr double kStepTolerance = 0.0001;  // L1 length of a negligible Newton step
constexpr int kMaxNewtonSteps = 500;

// Everything of one parameter value: pair tables E_s(a,b) and normalisers S_s.
struct Tables {
  Mat<double> E[2];
  double S[2] = {0.0, 0.0};
};

struct A4State {
  Window& w;
  const StudyData& study;
  const int* hapmap;
  int q = 0, KK = 0, P = 0;
  std::vector<double> Z;  // Z(a,b) for a <= b, q entries each
  Tables t;

  A4State(Window& win, const StudyData& sd, const int* map) : w(win), study(sd), hapmap(map) {
    q = w.q;
    KK = w.KK;
    P = KK + q - 1;
    Z.assign(static_cast<std::size_t>(KK * KK * (q > 0 ? q : 1)), 0.0);
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) Zvec(w, z(a, b), 0, w.hap_freq[a], w.hap_freq[b]);
    for (int s = 0; s < 2; s++) t.E[s] = dmatrix(0, KK - 1, 0, KK - 1);
  }

  double* z(int a, int b) { return Z.data() + static_cast<std::size_t>(a * KK + b) * q; }

  static double c(int a, int b) { return a == b ? 1.0 : 2.0; }

  void tables(const double* theta) {
    for (int s = 0; s < 2; s++) t.S[s] = 0.0;
    for (int a = 0; a < KK; a++) {
      double alpha_a = a > 0 ? theta[q + a - 1] : 0.0;
      for (int b = a; b < KK; b++) {
        double alpha_b = b > 0 ? theta[q + b - 1] : 0.0;
        double eta = 0.0;
        const double* zab = z(a, b);
        for (int k = 0; k < q; k++) eta += theta[k] * zab[k];
        t.E[0][a][b] = std::exp(alpha_a + alpha_b);
        t.E[1][a][b] = std::exp(alpha_a + alpha_b + eta);
        for (int s = 0; s < 2; s++) t.S[s] += c(a, b) * t.E[s][a][b];
      }
    }
  }

  // x_s(a,b): s * Z(a,b), then per non-reference position the count among a and b.
  void x(double* out, int s, int a, int b) {
    const double* zab = z(a, b);
    for (int k = 0; k < q; k++) out[k] = s * zab[k];
    for (int k = q; k < P; k++) out[k] = 0.0;
    if (a > 0) out[q + a - 1] += 1.0;
    if (b > 0) out[q + b - 1] += 1.0;
  }

  int status(const SubjectNode& sn) const { return study.STATUS[sn.idx] == 1 ? 1 : 0; }

  void positions(const PairNode& pr, int& a, int& b) const {
    int pa = hapmap[pr.h1], pb = hapmap[pr.h2];
    a = pa < pb ? pa : pb;
    b = pa < pb ? pb : pa;
  }

  // Objective at the current tables; every pair's analysis weight is refreshed.
  double objective() {
    double f = w.n0 * std::log(t.S[0]) + w.n1 * std::log(t.S[1]);
    for (const SubjectNode& sn : w.list.subjects) {
      const int s = status(sn);
      double L = 0.0;
      for (int k = sn.first; k < sn.last; k++) {
        PairNode& pr = w.list.pairs[k];
        int a, b;
        positions(pr, a, b);
        pr.aw = c(a, b) * t.E[s][a][b];
        L += pr.aw;
      }
      for (int k = sn.first; k < sn.last; k++) w.list.pairs[k].aw /= L;
      f -= std::log(L);
    }
    return f;
  }

  double objective_with_panel() {
    double f = objective();
    if (w.ext == 1) obs_loglike_ext(w, f, t.E[0], t.S[0], hapmap);
    return f;
  }
};

}  // namespace

double A4_objective(Window& w, const StudyData& study, const int* hapmap, const double* theta) {
  A4State st(w, study, hapmap);
  st.tables(theta);
  // The panel's E-step counts its families and sets its weights at this value.
  if (w.ext == 1) link_eval_ext(w, st.t.E[0], hapmap);
  return st.objective_with_panel();
}

int A4(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
       const double* freq) {
  A4Fit fit;
  int ok = A4_fit(w, study, hapmap, freq, fit);
  *iter = fit.iter;
  if (!ok) return 0;
  *loglik = -fit.f;
  orig_freq(w, est, se, fit.theta.data(), fit.Hinv, static_cast<int>(fit.theta.size()));
  return 1;
}

int A4_fit(Window& w, const StudyData& study, const int* hapmap, const double* freq, A4Fit& fit) {
  A4State st(w, study, hapmap);
  const int q = st.q, KK = st.KK, P = st.P;
  if (P < 1) return 0;
  std::vector<double> theta(static_cast<std::size_t>(P), 0.0), trial(static_cast<std::size_t>(P)),
      delta(static_cast<std::size_t>(P), 0.0), g(static_cast<std::size_t>(P)), m(static_cast<std::size_t>(P)),
      xv(static_cast<std::size_t>(P));
  for (int k = 1; k < KK; k++) theta[q + k - 1] = std::log(freq[w.hap_freq[k]] / freq[w.hap_freq[0]]);
  delta[0] = 1.0;
  Mat<double> H = dmatrix(1, P, 1, P);
  std::vector<int> nz, touched;
  std::vector<char> in_m(static_cast<std::size_t>(P), 0);
  nz.reserve(static_cast<std::size_t>(P));
  touched.reserve(static_cast<std::size_t>(P));
  const int n_s[2] = {w.n0, w.n1};
  int count = 0;
  double f = 0.0;

  while (length(delta.data(), P) > kStepTolerance && count <= kMaxNewtonSteps - 1) {
    // Gradient and Hessian of the objective at theta.
    std::fill(g.begin(), g.end(), 0.0);
    H.fill(0.0);
    st.tables(theta.data());
    for (int s = 1; s >= 0; s--) {
      std::fill(m.begin(), m.end(), 0.0);
      for (int a = 0; a < KK; a++)
        for (int b = a; b < KK; b++) {
          double p = n_s[s] * A4State::c(a, b) * st.t.E[s][a][b] / st.t.S[s];
          st.x(xv.data(), s, a, b);
          for (int i = 0; i < P; i++) {
            m[i] += p * xv[i];
            for (int j = i; j < P; j++) H[i + 1][j + 1] += p * xv[i] * xv[j];
          }
        }
      for (int i = 0; i < P; i++) {
        for (int j = i; j < P; j++) H[i + 1][j + 1] -= m[i] * m[j] / n_s[s];
        g[i] += m[i];
      }
    }
    f = st.objective();
    // Missing information, subject by subject. A pair's vector x is sparse (the
    // coefficients for cases, at most two frequency positions), so only its
    // non-zero entries are visited: the terms left out would add exact zeros.
    for (const SubjectNode& sn : w.list.subjects) {
      const int s = st.status(sn);
      touched.clear();
      for (int k = sn.first; k < sn.last; k++) {
        const PairNode& pr = w.list.pairs[k];
        int a, b;
        st.positions(pr, a, b);
        st.x(xv.data(), s, a, b);
        nz.clear();
        for (int i = 0; i < P; i++)
          if (xv[i] != 0.0) {
            nz.push_back(i);
            if (!in_m[i]) {
              in_m[i] = 1;
              m[i] = 0.0;
              touched.push_back(i);
            }
          }
        for (std::size_t u = 0; u < nz.size(); u++) {
          const int i = nz[u];
          m[i] += pr.aw * xv[i];
          for (std::size_t v = u; v < nz.size(); v++) H[i + 1][nz[v] + 1] -= pr.aw * xv[i] * xv[nz[v]];
        }
      }
      std::sort(touched.begin(), touched.end());
      for (std::size_t u = 0; u < touched.size(); u++) {
        const int i = touched[u];
        g[i] -= m[i];
        for (std::size_t v = u; v < touched.size(); v++) H[i + 1][touched[v] + 1] += m[i] * m[touched[v]];
      }
      for (int i : touched) in_m[i] = 0;
    }
    if (w.ext == 1) {
      link_eval_ext(w, st.t.E[0], hapmap);
      dloglike_ext(w, g.data(), st.t.E[0], st.t.S[0], hapmap);
      Louis_ext(w, H, st.t.E[0], hapmap);
      obs_loglike_ext(w, f, st.t.E[0], st.t.S[0], hapmap);
    }
    for (int i = 1; i <= P; i++)
      for (int j = i + 1; j <= P; j++) H[j][i] = H[i][j];
    if (explosion_E(H, P)) return 0;
    invv(H, P);
    if (explosion_E(H, P)) return 0;
    for (int i = 0; i < P; i++) {
      double d = 0.0;
      for (int j = 0; j < P; j++) d -= H[i + 1][j + 1] * g[j];
      delta[i] = d;
    }
    count++;
    fit.iter = count;
    if (length(delta.data(), P) < kStepTolerance) {
      for (int i = 0; i < P; i++) theta[i] += delta[i];
      break;
    }
    // Step halving from the full Newton step until the objective decreases.
    for (int i = 0; i < P; i++) delta[i] *= 2.0;
    double f_trial;
    do {
      for (int i = 0; i < P; i++) {
        delta[i] /= 2.0;
        trial[i] = theta[i] + delta[i];
      }
      st.tables(trial.data());
      f_trial = st.objective_with_panel();
    } while (f <= f_trial && length(delta.data(), P) > kStepTolerance);
    if (f <= f_trial && length(delta.data(), KK < P ? KK : P) <= kStepTolerance) return 0;
    theta = trial;
  }
  if (count == kMaxNewtonSteps) return 0;
  fit.f = f;
  fit.theta = theta;
  if (inproper_std(H, P)) return 0;
  fit.Hinv = std::move(H);
  return 1;
}
