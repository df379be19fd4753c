// Case-control analysis with covariates independent of the genotype: the profile
// likelihood in which each subject's covariate pattern is conditioned on, so the
// covariate distribution drops out, and the pair is Hardy-Weinberg in the
// population. Frequencies, effects and an intercept that absorbs the sampling
// ratio are fitted jointly by the damped Newton steps of the analysis without
// covariates, on the exact observed information; the panel adds its likelihood
// and Louis information when it takes part.
#include "analyses/a2_ind_hwe.h"

#include <cmath>
#include <cstddef>
#include <utility>

#include "analyses/analyses.h"
#include "analyses/pair_triangle.h"
#include "core/ext_panel.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "design/coding.h"

namespace {

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }


struct A2State {
  Window& w;
  const StudyData& study;
  const int* hapmap;
  int q = 0, KK = 0, J = 1, T = 0, P = 0, zs = 0;
  bool coded = true;  // Zvec writes the coefficients and the intercept

  std::vector<int> ta, tb, tri;
  std::vector<double> tc;
  std::vector<double> Z;  // per cell j*T + t: zs Zvec entries, the intercept last
  std::vector<int> pair_t;
  std::vector<double> pair_c;
  std::vector<int> status;
  std::vector<int> n_j;  // subjects per covariate pattern

  // Tables at one parameter value.
  Mat<double> E0;           // exp(alpha_a + alpha_b), a <= b: the controls' pair table
  double S0 = 0.0;          // its normaliser
  std::vector<double> E1;   // per cell: exp(alpha_a + alpha_b + beta'Z)
  std::vector<double> Dn;   // per pattern: the denominator sum over y and pairs

  // The derivative x of log E_y at a cell splits in two. Its covariate block (the
  // Zvec entries equal at every pair of a pattern, the intercept among them) is
  // y times the pattern's vector c_j; the rest (genetic entries for y = 1 and at
  // most two ratio entries) is sparse, indexes ascending, in xi/xv/nx. A weighted
  // sum of x x' over a pattern's terms is then the sparse part's products plus
  // s c c' and w c', with s the sum of the weights of y = 1 terms and w their
  // weighted sum of the sparse part.
  std::vector<int> cz;      // Zvec positions of the covariate block
  std::vector<int> cp;      // their parameter indexes
  std::vector<int> vz;      // Zvec positions before the intercept that vary with the pair
  std::vector<double> C;    // per pattern: the covariate block's values
  std::vector<int> xi;
  std::vector<double> xv;
  int nx = 0;
  int ny = 0;               // y of the last term set by x
  std::vector<double> mv;
  double s1 = 0.0;
  std::vector<double> wv;   // per parameter: the weighted sparse part of y = 1 terms
  // Without products of covariates and genotypes the pair's entries are the same in
  // every pattern, so E_1(j, a, b) = exp(eta_c(j)) F(a, b) and the sums over a
  // pattern's terms are one sum over the table scaled per pattern.
  bool separable = true;
  std::vector<double> F;     // per cell of pattern 0: exp(alpha_a + alpha_b + the pair's part)
  std::vector<double> ec;    // per pattern: exp(eta_c(j))
  std::vector<double> m0, m1;

  A2State(Window& win, const StudyData& sd, const int* map) : w(win), study(sd), hapmap(map) {
    q = w.q;
    KK = w.KK;
    J = w.J > 0 ? w.J : 1;
    T = KK * (KK + 1) / 2;
    P = q + KK;
    zs = q + 1;
    pair_triangle(KK, ta, tb, tc, tri);
    Z.assign(at(J * T * zs), 0.0);
    for (int j = 0; j < J; j++)
      for (int t = 0; t < T; t++) {
        int written = Zvec(w, Z.data() + at((j * T + t) * zs), j, w.hap_freq[at(ta[at(t)])],
                           w.hap_freq[at(tb[at(t)])]);
        if (written != zs) coded = false;
      }
    status.resize(w.list.subjects.size());
    n_j.assign(at(J), 0);
    pair_t.resize(w.list.pairs.size());
    pair_c.resize(w.list.pairs.size());
    for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
      const SubjectNode& sn = w.list.subjects[i];
      status[i] = study.STATUS[at(sn.idx)] == 1 ? 1 : 0;
      n_j[at(sn.stratum)]++;
      for (int k = sn.first; k < sn.last; k++) {
        const PairNode& pr = w.list.pairs[at(k)];
        int a = hapmap[pr.h1], b = hapmap[pr.h2];
        if (a > b) std::swap(a, b);
        pair_t[at(k)] = tri[at(a * KK + b)];
        pair_c[at(k)] = pair_factor(pr.h1, pr.h2);
      }
    }
    for (int k = 0; k < zs; k++) {
      bool same = true;
      for (int j = 0; j < J && same; j++)
        for (int t = 1; t < T && same; t++)
          same = Z[at((j * T + t) * zs + k)] == Z[at(j * T * zs + k)];
      if (same) {
        cz.push_back(k);
        cp.push_back(k < q ? k : P - 1);
      } else if (k < q) {
        vz.push_back(k);
      } else {
        coded = false;  // an intercept that is not one number per pattern
      }
    }
    for (int k : vz)
      for (int j = 1; j < J && separable; j++)
        for (int t = 0; t < T && separable; t++) separable = Z[at((j * T + t) * zs + k)] == Z[at(t * zs + k)];
    F.assign(at(T), 0.0);
    ec.assign(at(J), 0.0);
    m0.assign(at(P), 0.0);
    m1.assign(at(P), 0.0);
    C.assign(at(J) * cz.size(), 0.0);
    for (int j = 0; j < J; j++)
      for (std::size_t i = 0; i < cz.size(); i++) C[at(j) * cz.size() + i] = Z[at(j * T * zs + cz[i])];
    wv.assign(at(P), 0.0);
    E0 = dmatrix(0, KK - 1, 0, KK - 1);
    E1.assign(at(J * T), 0.0);
    Dn.assign(at(J), 0.0);
    xi.assign(at(q + 3), 0);
    xv.assign(at(q + 3), 0.0);
    mv.assign(at(P), 0.0);
  }

  void tables(const double* theta) {
    auto alpha = [&](int a) { return a > 0 ? theta[q + a - 1] : 0.0; };
    S0 = 0.0;
    for (int t = 0; t < T; t++) {
      const int a = ta[at(t)], b = tb[at(t)];
      E0[a][b] = std::exp(alpha(a) + alpha(b));
      S0 += tc[at(t)] * E0[a][b];
    }
    const double mu = theta[P - 1];
    const std::size_t nc = cz.size();
    if (separable)
      for (int t = 0; t < T; t++) {
        double eta = alpha(ta[at(t)]) + alpha(tb[at(t)]);
        for (int k : vz) eta += theta[k] * Z[at(t * zs + k)];
        F[at(t)] = std::exp(eta);
      }
    for (int j = 0; j < J; j++) {
      // The covariate block's part of the linear predictor, once per pattern.
      double eta_c = 0.0;
      for (std::size_t u = 0; u < nc; u++) eta_c += (cp[u] == P - 1 ? mu : theta[cp[u]]) * C[at(j) * nc + u];
      double S1 = 0.0;
      if (separable) {
        ec[at(j)] = std::exp(eta_c);
        for (int t = 0; t < T; t++) {
          E1[at(j * T + t)] = ec[at(j)] * F[at(t)];
          S1 += tc[at(t)] * E1[at(j * T + t)];
        }
        Dn[at(j)] = S0 + S1;
        continue;
      }
      for (int t = 0; t < T; t++) {
        const int a = ta[at(t)], b = tb[at(t)];
        const double* z = Z.data() + at((j * T + t) * zs);
        double eta = eta_c;
        for (int k : vz) eta += theta[k] * z[k];
        E1[at(j * T + t)] = std::exp(alpha(a) + alpha(b) + eta);
        S1 += tc[at(t)] * E1[at(j * T + t)];
      }
      Dn[at(j)] = S0 + S1;
    }
  }

  double E(int y, int j, int t) const { return y == 1 ? E1[at(j * T + t)] : E0[ta[at(t)]][tb[at(t)]]; }

  // The sparse part of the derivative of log E_y(j, t) into xi/xv/nx.
  void x(int y, int j, int t) {
    nx = 0;
    ny = y;
    const double* z = Z.data() + at((j * T + t) * zs);
    if (y == 1)
      for (int k : vz) {
        xi[at(nx)] = k;
        xv[at(nx++)] = z[k];
      }
    const int a = ta[at(t)], b = tb[at(t)];
    if (a > 0 && a == b) {
      xi[at(nx)] = q + a - 1;
      xv[at(nx++)] = 2.0;
    } else {
      if (a > 0) {
        xi[at(nx)] = q + a - 1;
        xv[at(nx++)] = 1.0;
      }
      if (b > 0) {
        xi[at(nx)] = q + b - 1;
        xv[at(nx++)] = 1.0;
      }
    }
  }

  // The sparse part of mv += p x and of the upper triangle of H += sign p x x'.
  void accumulate(double p, double sign, Mat<double>& H) {
    for (int u = 0; u < nx; u++) {
      const double pu = p * xv[at(u)];
      mv[at(xi[at(u)])] += pu;
      for (int v = u; v < nx; v++) H[xi[at(u)] + 1][xi[at(v)] + 1] += sign * pu * xv[at(v)];
      if (ny == 1) wv[at(xi[at(u)])] += pu;
    }
    if (ny == 1) s1 += p;
  }

  // The covariate block of pattern j for the terms accumulated since the last call.
  void close_pattern(int j, double sign, Mat<double>& H) {
    const std::size_t nc = cz.size();
    const double* c = C.data() + at(j) * nc;
    for (std::size_t u = 0; u < nc; u++) {
      const int r = cp[u];
      mv[at(r)] += s1 * c[u];
      for (std::size_t v = 0; v < nc; v++) {
        const int k = cp[v];
        if (k >= r) H[r + 1][k + 1] += sign * s1 * c[u] * c[v];
      }
      for (int k = 0; k < P; k++) {
        if (wv[at(k)] == 0.0) continue;
        const double h = sign * wv[at(k)] * c[u];
        if (k < r) H[k + 1][r + 1] += h;
        else H[r + 1][k + 1] += h;
      }
    }
    s1 = 0.0;
    for (int k = 0; k < P; k++) wv[at(k)] = 0.0;
  }

  // Objective at the current tables; every pair's analysis weight is refreshed.
  double objective() {
    double f = 0.0;
    for (int j = 0; j < J; j++)
      if (n_j[at(j)] > 0) f += n_j[at(j)] * std::log(Dn[at(j)]);
    for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
      const SubjectNode& sn = w.list.subjects[i];
      const int y = status[i];
      double L = 0.0;
      for (int k = sn.first; k < sn.last; k++) {
        PairNode& pr = w.list.pairs[at(k)];
        pr.aw = pair_c[at(k)] * E(y, sn.stratum, pair_t[at(k)]);
        L += pr.aw;
      }
      for (int k = sn.first; k < sn.last; k++) w.list.pairs[at(k)].aw /= L;
      f -= std::log(L);
    }
    return f;
  }

  double objective_with_panel() {
    double f = objective();
    if (w.ext == 1) obs_loglike_ext(w, f, E0, S0, hapmap);
    return f;
  }

  // Objective, gradient and observed information at theta (H fully symmetric).
  double derivatives(const double* theta, double* g, Mat<double>& H) {
    for (int k = 0; k < P; k++) g[k] = 0.0;
    H.fill(0.0);
    tables(theta);
    // Denominators: per pattern, n_j times the covariance of x over its (y, a, b) terms.
    // Separable: pattern j weighs the y = 0 terms by r0 = n_j / Dn_j and the y = 1
    // terms by r1 = r0 exp(eta_c(j)), so their sums over the table are formed once.
    double R0 = 0.0, R1 = 0.0, SF = 0.0;
    if (separable) {
      for (int j = 0; j < J; j++)
        if (n_j[at(j)] > 0) {
          R0 += n_j[at(j)] / Dn[at(j)];
          R1 += n_j[at(j)] * ec[at(j)] / Dn[at(j)];
        }
      for (int k = 0; k < P; k++) m0[at(k)] = m1[at(k)] = 0.0;
      for (int y = 0; y < 2; y++)
        for (int t = 0; t < T; t++) {
          x(y, 0, t);
          const double p = tc[at(t)] * (y == 1 ? F[at(t)] : E0[ta[at(t)]][tb[at(t)]]);
          std::vector<double>& m = y == 1 ? m1 : m0;
          const double r = y == 1 ? R1 : R0;
          for (int u = 0; u < nx; u++) {
            m[at(xi[at(u)])] += p * xv[at(u)];
            for (int v = u; v < nx; v++) H[xi[at(u)] + 1][xi[at(v)] + 1] += r * p * xv[at(u)] * xv[at(v)];
          }
          if (y == 1) SF += p;
        }
    }
    for (int j = 0; j < J; j++) {
      const int nj = n_j[at(j)];
      if (nj == 0) continue;
      for (int k = 0; k < P; k++) mv[at(k)] = 0.0;
      if (separable) {
        const double r0 = nj / Dn[at(j)], r1 = r0 * ec[at(j)];
        for (int k = 0; k < P; k++) {
          mv[at(k)] = r0 * m0[at(k)] + r1 * m1[at(k)];
          wv[at(k)] = r1 * m1[at(k)];
        }
        s1 = r1 * SF;
      } else {
        for (int y = 0; y < 2; y++)
          for (int t = 0; t < T; t++) {
            x(y, j, t);
            accumulate(nj * tc[at(t)] * E(y, j, t) / Dn[at(j)], 1.0, H);
          }
      }
      close_pattern(j, 1.0, H);
      for (int r = 0; r < P; r++) {
        for (int k = r; k < P; k++) H[r + 1][k + 1] -= mv[at(r)] * mv[at(k)] / nj;
        g[r] += mv[at(r)];
      }
    }
    double f = objective();
    // Numerators: minus each subject's covariance of x over its compatible pairs.
    for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
      const SubjectNode& sn = w.list.subjects[i];
      for (int k = 0; k < P; k++) mv[at(k)] = 0.0;
      for (int k = sn.first; k < sn.last; k++) {
        x(status[i], sn.stratum, pair_t[at(k)]);
        accumulate(w.list.pairs[at(k)].aw, -1.0, H);
      }
      close_pattern(sn.stratum, -1.0, H);
      for (int r = 0; r < P; r++) {
        g[r] -= mv[at(r)];
        if (mv[at(r)] == 0.0) continue;
        for (int k = r; k < P; k++) H[r + 1][k + 1] += mv[at(r)] * mv[at(k)];
      }
    }
    if (w.ext == 1) {
      link_eval_ext(w, E0, hapmap);
      dloglike_ext(w, g, E0, S0, hapmap);
      Louis_ext(w, H, E0, hapmap);
      obs_loglike_ext(w, f, E0, S0, hapmap);
    }
    for (int i = 1; i <= P; i++)
      for (int k = i + 1; k <= P; k++) H[k][i] = H[i][k];
    return f;
  }
};

}  // namespace

double A2_objective(Window& w, const StudyData& study, const int* hapmap, const double* theta) {
  A2State st(w, study, hapmap);
  st.tables(theta);
  // The panel's E-step counts its families at this value.
  if (w.ext == 1) link_eval_ext(w, st.E0, hapmap);
  return st.objective_with_panel();
}

double A2_derivatives(Window& w, const StudyData& study, const int* hapmap, const double* theta, double* g,
                      Mat<double>& H) {
  A2State st(w, study, hapmap);
  H = dmatrix(1, st.P, 1, st.P);
  return st.derivatives(theta, g, H);
}

int A2_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq) {
  A2Fit fit;
  int ok = A2_fit(w, study, hapmap, freq, fit);
  *iter = fit.iter;
  if (!ok) return fail(w, "A2_ind_HWE", fit.fail);
  *loglik = -fit.f;
  // The intercept follows the frequency block and is left out of the report.
  w.qq = 0;
  orig_freq(w, est, se, fit.theta.data(), fit.Hinv, static_cast<int>(fit.theta.size()));
  return 1;
}

int A2_fit(Window& w, const StudyData& study, const int* hapmap, const double* freq, A2Fit& fit) {
  A2State st(w, study, hapmap);
  if (!st.coded) return newton_fails(fit, Check::kDesignRagged);
  const int q = st.q, KK = st.KK, P = st.P;
  std::vector<double> theta(at(P), 0.0);
  for (int k = 1; k < KK; k++) theta[at(q + k - 1)] = std::log(freq[w.hap_freq[at(k)]] / freq[w.hap_freq[0]]);
  // A trial whose objective is not a number (overflow far out) is no decrease.
  return damped_newton(
      std::move(theta), KK, [&](const double* t, double* g, Mat<double>& H) { return st.derivatives(t, g, H); },
      [&](const double* t) {
        st.tables(t);
        return st.objective_with_panel();
      },
      true, fit);
}
