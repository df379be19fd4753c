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
#include "analyses/newton.h"
#include "core/ext_panel.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "design/coding.h"

namespace {


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
  // Work vectors of derivatives(), P entries each.
  std::vector<double> scratch_m, scratch_x;
  std::vector<int> scratch_nz, scratch_touched;
  std::vector<char> scratch_in;

  A4State(Window& win, const StudyData& sd, const int* map) : w(win), study(sd), hapmap(map) {
    q = w.q;
    KK = w.KK;
    P = KK + q - 1;
    Z.assign(static_cast<std::size_t>(KK * KK * (q > 0 ? q : 1)), 0.0);
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) Zvec(w, z(a, b), 0, w.hap_freq[a], w.hap_freq[b]);
    for (int s = 0; s < 2; s++) t.E[s] = dmatrix(0, KK - 1, 0, KK - 1);
    const std::size_t n = static_cast<std::size_t>(P > 0 ? P : 0);
    scratch_m.assign(n, 0.0);
    scratch_x.assign(n, 0.0);
    scratch_in.assign(n, 0);
    scratch_nz.reserve(n);
    scratch_touched.reserve(n);
  }

  double derivatives(const double* theta, double* g, Mat<double>& H);

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
  if (!ok) return fail(w, "A4", fit.fail);
  *loglik = -fit.f;
  orig_freq(w, est, se, fit.theta.data(), fit.Hinv, static_cast<int>(fit.theta.size()));
  return 1;
}

// Objective at theta, with its gradient g and Hessian H (complete-data
// information minus missing information, plus the panel's terms).
double A4State::derivatives(const double* theta, double* g, Mat<double>& H) {
  const int n_s[2] = {w.n0, w.n1};
  std::vector<double>& m = scratch_m;
  std::vector<double>& xv = scratch_x;
  std::vector<int>& nz = scratch_nz;
  std::vector<int>& touched = scratch_touched;
  std::vector<char>& in_m = scratch_in;
  std::fill(g, g + P, 0.0);
  H.fill(0.0);
  tables(theta);
  for (int s = 1; s >= 0; s--) {
    std::fill(m.begin(), m.end(), 0.0);
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) {
        double p = n_s[s] * c(a, b) * t.E[s][a][b] / t.S[s];
        x(xv.data(), s, a, b);
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
  double f = objective();
  // Missing information, subject by subject. A pair's vector x is sparse (the
  // coefficients for cases, at most two frequency positions), so only its
  // non-zero entries are visited: the terms left out would add exact zeros.
  for (const SubjectNode& sn : w.list.subjects) {
    const int s = status(sn);
    touched.clear();
    for (int k = sn.first; k < sn.last; k++) {
      const PairNode& pr = w.list.pairs[k];
      int a, b;
      positions(pr, a, b);
      x(xv.data(), s, a, b);
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
    link_eval_ext(w, t.E[0], hapmap);
    dloglike_ext(w, g, t.E[0], t.S[0], hapmap);
    Louis_ext(w, H, t.E[0], hapmap);
    obs_loglike_ext(w, f, t.E[0], t.S[0], hapmap);
  }
  for (int i = 1; i <= P; i++)
    for (int j = i + 1; j <= P; j++) H[j][i] = H[i][j];
  return f;
}

int A4_fit(Window& w, const StudyData& study, const int* hapmap, const double* freq, A4Fit& fit) {
  A4State st(w, study, hapmap);
  const int q = st.q, KK = st.KK, P = st.P;
  if (P < 1) return newton_fails(fit, Check::kNoCoefficient);
  std::vector<double> theta(static_cast<std::size_t>(P), 0.0);
  for (int k = 1; k < KK; k++) theta[q + k - 1] = std::log(freq[w.hap_freq[k]] / freq[w.hap_freq[0]]);
  return damped_newton(
      std::move(theta), KK, [&](const double* t, double* g, Mat<double>& H) { return st.derivatives(t, g, H); },
      [&](const double* t) {
        st.tables(t);
        return st.objective_with_panel();
      },
      false, fit);
}
