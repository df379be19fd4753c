// Case-control analysis with gene-environment dependence: a retrospective
// likelihood in which controls carry Hardy-Weinberg haplotype pairs, the stratum
// of a subject may depend on its pair through the dependence haplotypes, and cases
// are tilted by the regression. Fitted by E-steps on the pair weights alternating
// with quasi-Newton M-steps; the variance is the inverse observed information.
// A fit whose variance is unusable is repeated with one dependence haplotype fewer.
#include "analyses/a5_cc.h"
#include "analyses/em_loop.h"

#include <cmath>
#include <cstddef>
#include <utility>

#include "analyses/analyses.h"
#include "analyses/pair_triangle.h"
#include "core/ext_panel.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "core/minimiser.h"
#include "design/coding.h"

namespace {

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

}  // namespace

CCModel::CCModel(Window& win, const StudyData& sd, const int* map) : w(win), study(sd), hapmap(map) {
  q = w.q;
  KK = w.KK;
  J = w.J > 0 ? w.J : 1;
  T = KK * (KK + 1) / 2;
  pair_triangle(KK, ta, tb, tc, tri);

  // Zvec writes the q coefficients' entries (and an intercept after them for a
  // one-SNP window, which this model does not use).
  zs = q + 1;
  Z.assign(at(J * T * zs), 0.0);
  for (int j = 0; j < J; j++)
    for (int t = 0; t < T; t++)
      Zvec(w, Z.data() + at((j * T + t) * zs), j, w.hap_freq[at(ta[at(t)])], w.hap_freq[at(tb[at(t)])]);

  status.resize(w.list.subjects.size());
  pair_cell.resize(w.list.pairs.size());
  pair_c.resize(w.list.pairs.size());
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    status[i] = study.STATUS[at(sn.idx)] == 1 ? 1 : 0;
    for (int k = sn.first; k < sn.last; k++) {
      const PairNode& pr = w.list.pairs[at(k)];
      int a = hapmap[pr.h1], b = hapmap[pr.h2];
      if (a > b) std::swap(a, b);
      pair_cell[at(k)] = sn.stratum * T + tri[at(a * KK + b)];
      pair_c[at(k)] = pair_factor(pr.h1, pr.h2);
    }
  }

  P = dmatrix(0, KK - 1, 0, KK - 1);
  E0.assign(at(J * T), 0.0);
  E1.assign(at(J * T), 0.0);
  logE0.assign(at(J * T), 0.0);
  logE1.assign(at(J * T), 0.0);
  Wr.assign(at(J * T), 0.0);
  set_dependence(0);
}

void CCModel::set_dependence(int G) {
  qq = w.pD * G;
  w.qq = qq;
  n = qq + q + KK + J - 2;
  D.assign(at(J * T * qq), 0.0);
  if (qq > 0) {
    // Dvec writes behind the coefficients and ratios; the entries are moved to the cell.
    std::vector<double> buffer(at(n), 0.0);
    const int base = q + KK - 1;
    for (int j = 0; j < J; j++)
      for (int t = 0; t < T; t++) {
        Dvec(w, buffer.data(), j, w.hap_freq[at(ta[at(t)])], w.hap_freq[at(tb[at(t)])]);
        for (int k = 0; k < qq; k++) D[at((j * T + t) * qq + k)] = buffer[at(base + k)];
      }
  }
  Dbar.assign(at(T * qq), 0.0);
  xbuf.assign(at(n), 0.0);
  mbuf.assign(at(n), 0.0);
  acc.assign(at(2 * J * T), 0.0);
  ubar.assign(at(qq + J), 0.0);
  Ccoef.assign(at(T), 0.0);
}

void CCModel::cell_x(int s, int j, int t, double* out) const {
  const int cell = j * T + t;
  const double* z = Z.data() + at(cell * zs);
  for (int k = 0; k < q; k++) out[k] = s * z[k];
  for (int k = q; k < n; k++) out[k] = 0.0;
  const int a = ta[at(t)], b = tb[at(t)];
  if (a > 0) out[q + a - 1] += 1.0;
  if (b > 0) out[q + b - 1] += 1.0;
  const int d0 = q + KK - 1;
  const double* d = D.data() + at(cell * qq);
  const double* db = Dbar.data() + at(t * qq);
  for (int k = 0; k < qq; k++) out[d0 + k] = d[k] - db[k];
  const int g0 = d0 + qq - 1;  // gamma_l sits at g0 + l
  for (int l = 1; l < J; l++) out[g0 + l] = (j == l ? 1.0 : 0.0) - Wr[at(l * T + t)];
}

void exp_eval_CC(CCModel& m, const double* theta) {
  const int q = m.q, KK = m.KK, J = m.J, T = m.T, qq = m.qq;
  const int d0 = q + KK - 1, g0 = d0 + qq - 1;
  auto alpha = [&](int a) { return a > 0 ? theta[q + a - 1] : 0.0; };

  m.scale0 = 0.0;
  for (int t = 0; t < T; t++) {
    const int a = m.ta[at(t)], b = m.tb[at(t)];
    m.P[a][b] = std::exp(alpha(a) + alpha(b));
    m.scale0 += m.tc[at(t)] * m.P[a][b];
  }

  // Distribution of the stratum given the pair, W / S, taken relative to the
  // largest exponent so that it stays finite for any parameter value.
  for (int t = 0; t < T; t++) {
    double largest = 0.0;
    for (int j = 0; j < J; j++) {
      double lw = j > 0 ? theta[g0 + j] : 0.0;
      const double* d = m.D.data() + at((j * T + t) * qq);
      for (int k = 0; k < qq; k++) lw += theta[d0 + k] * d[k];
      m.Wr[at(j * T + t)] = lw;
      if (j == 0 || lw > largest) largest = lw;
    }
    double S = 0.0;
    for (int j = 0; j < J; j++) S += std::exp(m.Wr[at(j * T + t)] - largest);
    for (int j = 0; j < J; j++) m.Wr[at(j * T + t)] = std::exp(m.Wr[at(j * T + t)] - largest) / S;
    double* db = m.Dbar.data() + at(t * qq);
    for (int k = 0; k < qq; k++) db[k] = 0.0;
    for (int j = 0; j < J; j++) {
      const double wr = m.Wr[at(j * T + t)];
      const double* d = m.D.data() + at((j * T + t) * qq);
      for (int k = 0; k < qq; k++) db[k] += wr * d[k];
    }
  }

  m.scale1 = 0.0;
  for (int j = 0; j < J; j++)
    for (int t = 0; t < T; t++) {
      const int cell = j * T + t;
      const int a = m.ta[at(t)], b = m.tb[at(t)];
      const double* z = m.Z.data() + at(cell * m.zs);
      double eta = 0.0;
      for (int k = 0; k < q; k++) eta += theta[k] * z[k];
      const double wr = m.Wr[at(cell)];
      m.E1[at(cell)] = std::exp(eta + alpha(a) + alpha(b)) * wr;
      m.E0[at(cell)] = m.P[a][b] * wr;
      m.logE1[at(cell)] = std::log(m.E1[at(cell)]);
      m.logE0[at(cell)] = std::log(m.E0[at(cell)]);
      m.scale1 += m.tc[at(t)] * m.E1[at(cell)];
    }
}

void link_eval_CC(CCModel& m) {
  Window& w = m.w;
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    const std::vector<double>& E = m.status[i] == 1 ? m.E1 : m.E0;
    double sum = 0.0;
    for (int k = sn.first; k < sn.last; k++) {
      PairNode& pr = w.list.pairs[at(k)];
      pr.aw = m.pair_c[at(k)] * E[at(m.pair_cell[at(k)])];
      sum += pr.aw;
    }
    for (int k = sn.first; k < sn.last; k++) w.list.pairs[at(k)].aw /= sum;
  }
  if (w.ext == 1) link_eval_ext(w, m.P, m.hapmap);
}

double loglike_CC(CCModel& m) {
  const Window& w = m.w;
  double f = w.n1 * std::log(m.scale1) + w.n0 * std::log(m.scale0);
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    const std::vector<double>& logE = m.status[i] == 1 ? m.logE1 : m.logE0;
    for (int k = sn.first; k < sn.last; k++) {
      const double wt = w.list.pairs[at(k)].aw;
      // A pair without weight adds nothing, even where its table value underflows.
      if (wt != 0.0) f -= wt * logE[at(m.pair_cell[at(k)])];
    }
  }
  if (w.ext == 1) loglike_ext(w, f, m.P, m.scale0, m.hapmap);
  return f;
}

void dloglike_CC(CCModel& m, double* g) {
  const Window& w = m.w;
  const int n = m.n, JT = m.J * m.T;
  // Net weight of every cell: the normalisers' expected counts less the study's
  // pair weights; the gradient is the sum of net weight x d log E over the cells.
  const double n_s[2] = {static_cast<double>(w.n0), static_cast<double>(w.n1)};
  const double scale[2] = {m.scale0, m.scale1};
  for (int s = 0; s < 2; s++) {
    const std::vector<double>& E = s == 1 ? m.E1 : m.E0;
    for (int cell = 0; cell < JT; cell++)
      m.acc[at(s * JT + cell)] = n_s[s] * m.tc[at(cell % m.T)] * E[at(cell)] / scale[s];
  }
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    const int base = m.status[i] * JT;
    for (int k = sn.first; k < sn.last; k++) m.acc[at(base + m.pair_cell[at(k)])] -= w.list.pairs[at(k)].aw;
  }
  for (int k = 0; k < n; k++) g[k] = 0.0;
  double* xv = m.xbuf.data();
  for (int s = 0; s < 2; s++)
    for (int cell = 0; cell < JT; cell++) {
      const double c = m.acc[at(s * JT + cell)];
      if (c == 0.0) continue;
      m.cell_x(s, cell / m.T, cell % m.T, xv);
      for (int k = 0; k < n; k++) g[k] += c * xv[k];
    }
  if (w.ext == 1) dloglike_ext(w, g, m.P, m.scale0, m.hapmap);
}

double obs_loglike_CC(CCModel& m) {
  const Window& w = m.w;
  double f = w.n1 * std::log(m.scale1) + w.n0 * std::log(m.scale0);
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    const std::vector<double>& E = m.status[i] == 1 ? m.E1 : m.E0;
    double L = 0.0;
    for (int k = sn.first; k < sn.last; k++) L += m.pair_c[at(k)] * E[at(m.pair_cell[at(k)])];
    f -= std::log(L);
  }
  if (w.ext == 1) obs_loglike_ext(w, f, m.P, m.scale0, m.hapmap);
  return f;
}

int A5_v_CC(CCModel& m, double* theta, double* loglik, int* iter) {
  MinimiserCallbacks cb;
  cb.objective = [&m](const double*) { return loglike_CC(m); };
  cb.gradient = [&m](const double*, double* g) { dloglike_CC(m, g); };
  cb.expected = [&m](const double* p) { exp_eval_CC(m, p); };

  exp_eval_CC(m, theta);
  double f = 0.0;
  const int count = outer_em(
      OuterStop{kOuterRelativeChange, true, kMaxOuterIterations},
      [&] {
        link_eval_CC(m);
        double fret = 0.0;
        int its = 0;
        dfpmin_CC(theta, m.n, fret, its, cb);
      },
      [&] { return obs_loglike_CC(m); }, f);
  *iter = count < 0 ? kMaxOuterIterations : count;
  if (count < 0) return 0;
  *loglik = -f;
  return 1;
}

void A5_info_CC(CCModel& m, const double* theta, Mat<double>& I) {
  Window& w = m.w;
  const int n = m.n, q = m.q, KK = m.KK, J = m.J, T = m.T, qq = m.qq;
  exp_eval_CC(m, theta);
  link_eval_CC(m);
  I = dmatrix(1, n, 1, n);
  double* xv = m.xbuf.data();
  double* mv = m.mbuf.data();
  for (int t = 0; t < T; t++) m.Ccoef[at(t)] = 0.0;

  // Normalisers: the covariance of d log E over each status group's cells.
  const int n_s[2] = {w.n0, w.n1};
  const double scale[2] = {m.scale0, m.scale1};
  for (int s = 1; s >= 0; s--) {
    if (n_s[s] == 0) continue;
    const std::vector<double>& E = s == 1 ? m.E1 : m.E0;
    for (int k = 0; k < n; k++) mv[k] = 0.0;
    for (int j = 0; j < J; j++)
      for (int t = 0; t < T; t++) {
        const double p = n_s[s] * m.tc[at(t)] * E[at(j * T + t)] / scale[s];
        m.cell_x(s, j, t, xv);
        for (int i = 0; i < n; i++) {
          mv[i] += p * xv[i];
          for (int k = i; k < n; k++) I[i + 1][k + 1] += p * xv[i] * xv[k];
        }
        m.Ccoef[at(t)] -= p;
      }
    for (int i = 0; i < n; i++)
      for (int k = i; k < n; k++) I[i + 1][k + 1] -= mv[i] * mv[k] / n_s[s];
  }

  // Subjects: minus the covariance of d log E over each subject's pairs.
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& sn = w.list.subjects[i];
    const int s = m.status[i];
    for (int k = 0; k < n; k++) mv[k] = 0.0;
    for (int p = sn.first; p < sn.last; p++) {
      const double wt = w.list.pairs[at(p)].aw;
      const int t = m.pair_cell[at(p)] % T;
      m.cell_x(s, sn.stratum, t, xv);
      for (int r = 0; r < n; r++) {
        mv[r] += wt * xv[r];
        for (int k = r; k < n; k++) I[r + 1][k + 1] -= wt * xv[r] * xv[k];
      }
      m.Ccoef[at(t)] += wt;
    }
    for (int r = 0; r < n; r++)
      for (int k = r; k < n; k++) I[r + 1][k + 1] += mv[r] * mv[k];
  }

  // Curvature of log E itself: minus the covariance, over the strata given the
  // pair, of the dependence design (D, then the stratum indicators), weighted by
  // each pair's net count.
  const int d0 = q + KK - 1;
  const int nu = qq + J - 1;  // entries from d0 on
  double* u = m.ubar.data();
  for (int t = 0; t < T; t++) {
    const double coef = m.Ccoef[at(t)];
    if (coef == 0.0 || nu == 0) continue;
    for (int r = 0; r < nu; r++) u[r] = r < qq ? m.Dbar[at(t * qq + r)] : m.Wr[at((r - qq + 1) * T + t)];
    for (int j = 0; j < J; j++) {
      const double wr = m.Wr[at(j * T + t)];
      const double* d = m.D.data() + at((j * T + t) * qq);
      for (int r = 0; r < nu; r++) {
        const double ur = r < qq ? d[r] : (r - qq + 1 == j ? 1.0 : 0.0);
        if (ur == 0.0) continue;
        for (int k = r; k < nu; k++) {
          const double uk = k < qq ? d[k] : (k - qq + 1 == j ? 1.0 : 0.0);
          I[d0 + r + 1][d0 + k + 1] += coef * wr * ur * uk;
        }
      }
    }
    for (int r = 0; r < nu; r++)
      for (int k = r; k < nu; k++) I[d0 + r + 1][d0 + k + 1] -= coef * u[r] * u[k];
  }

  for (int i = 1; i <= n; i++)
    for (int k = i + 1; k <= n; k++) I[k][i] = I[i][k];
  // The panel's observed information, complete-data part included.
  if (w.ext == 1) Louis_ext(w, I, m.P, m.hapmap);
}

int A5_std_CC(CCModel& m, const double* theta, Mat<double>& V) {
  A5_info_CC(m, theta, V);
  if (explosion_E(V, m.n)) return 0;
  invv(V, m.n);
  if (inproper_std(V, m.n)) return 0;
  return 1;
}

int A5_CC(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
          const double* freq, int G) {
  if (G <= 0) return 0;
  CCModel m(w, study, hapmap);
  std::vector<double> theta;
  Mat<double> V;
  const int success = fewer_dependence_haplotypes(G, w.pD, [&](int g) {
    m.set_dependence(g);
    theta.assign(at(m.n), 0.0);
    for (int k = 1; k < m.KK; k++) theta[at(m.q + k - 1)] = std::log(freq[w.hap_freq[at(k)]] / freq[w.hap_freq[0]]);
    if (!A5_v_CC(m, theta.data(), loglik, iter)) return -1;
    return A5_std_CC(m, theta.data(), V);
  });
  if (!success) return 0;
  orig_freq(w, est, se, theta.data(), V, m.n);
  return 1;
}
