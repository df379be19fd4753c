// Cross-sectional haplotype analyses: a logistic model for a binary trait or a
// normal linear model for a continuous one, with each subject's haplotype pair
// unobserved. A7_CS_pl lets the DEPENDENT covariates' distribution depend on the
// haplotypes (pattern weights gamma and dependence parameters eta) and profiles
// the pattern weights out of the information; A7_ind_HWE is the same fit without
// the dependence part. Both fit by EM with a quasi-Newton M-step and form the
// information from per-subject log-likelihoods at perturbed parameters.
#include "analyses/a7.h"
#include "analyses/em_loop.h"

#include <algorithm>
#include <cmath>

#include "analyses/analyses.h"
#include "core/ext_panel.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "core/minimiser.h"
#include "design/coding.h"

namespace {

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

// log(1 + exp(x)) without overflow for large x.
inline double log1pexp(double x) { return x > 0.0 ? x + std::log1p(std::exp(-x)) : std::log1p(std::exp(x)); }

// W_j(a,b) = exp(gamma_j + eta.D(j,a,b)), SW(a,b) and its log, from the current
// eta.D table and gamma[0..J-2] (gamma_0 = 0).
void pattern_weights(CsState& st, const double* gamma) {
  const int KK = st.KK, J = st.J;
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) {
      double sum = 0.0;
      for (int j = 0; j < J; j++) {
        const double gj = j > 0 && st.ngamma > 0 ? gamma[j - 1] : 0.0;
        const double v = std::exp(gj + st.etaD[at(st.pjab(j, a, b))]);
        st.W[at(st.pjab(j, a, b))] = v;
        sum += v;
      }
      st.SW[at(st.tri(a, b))] = sum;
      st.logSW[at(st.tri(a, b))] = std::log(sum);
    }
}

// Log pair values from the fixed parts and the pattern weights gamma.
void pair_logs(CsState& st, const double* gamma) {
  StudyList& list = st.w.list;
  for (int i = 0; i < st.nsub; i++) {
    const SubjectNode& sn = list.subjects[at(i)];
    const int j = st.pat[at(i)];
    const double gj = j > 0 && st.ngamma > 0 ? gamma[j - 1] : 0.0;
    for (int k = sn.first; k < sn.last; k++) {
      PairNode& pr = list.pairs[at(k)];
      pr.work = st.dependence ? st.fixed[at(k)] + gj - st.logSW[at(st.tri(st.pa[at(k)], st.pb[at(k)]))]
                              : st.fixed[at(k)];
    }
  }
}

// Per pair at theta: linear predictor, fixed part g + alpha_a + alpha_b (+ eta.D)
// and log pair value, the pattern weights being those of theta.
template <bool Binary, bool Dependence>
void pair_values(CsState& st, const double* theta) {
  const int nz = st.nz, KK = st.KK;
  const double logs2 = Binary ? 0.0 : theta[st.q - 1];
  const double s2 = std::exp(logs2);
  const double* gamma = theta + st.off_gamma;
  const double* Z = st.Z.data();
  const double* alpha = st.alpha.data();
  const double* logSW = st.logSW.data();
  const int* pa = st.pa.data();
  const int* pb = st.pb.data();
  double* lin = st.lin.data();
  double* fixed = st.fixed.data();
  PairNode* pairs = st.w.list.pairs.data();
  for (int i = 0; i < st.nsub; i++) {
    const SubjectNode& sn = st.w.list.subjects[at(i)];
    const double yi = st.y[at(i)];
    const int j = st.pat[at(i)];
    const double gj = Dependence && j > 0 && st.ngamma > 0 ? gamma[j - 1] : 0.0;
    const double* etaD = Dependence ? st.etaD.data() + at(j) * at(KK) * at(KK) : nullptr;
    for (int k = sn.first; k < sn.last; k++) {
      const double* z = Z + at(k) * at(nz);
      double eta = 0.0;
      for (int m = 0; m < nz; m++) eta += theta[m] * z[m];
      lin[k] = eta;
      double g;
      if (Binary) {
        g = yi * eta - log1pexp(eta);
      } else {
        const double r = yi - eta;
        g = -r * r / (2.0 * s2) - logs2 / 2.0;
      }
      const int ab = pa[k] * KK + pb[k];
      double t = g + alpha[pa[k]] + alpha[pb[k]];
      if (Dependence) {
        t += etaD[ab];
        fixed[k] = t;
        pairs[k].work = t + gj - logSW[ab];
      } else {
        fixed[k] = t;
        pairs[k].work = t;
      }
    }
  }
}

// log V_i of every subject into SubjectNode::work, relative to its largest log pair value.
void subject_totals(CsState& st) {
  StudyList& list = st.w.list;
  for (SubjectNode& sn : list.subjects) {
    double top = list.pairs[at(sn.first)].work;
    for (int k = sn.first + 1; k < sn.last; k++)
      if (list.pairs[at(k)].work > top) top = list.pairs[at(k)].work;
    double sum = 0.0;
    for (int k = sn.first; k < sn.last; k++) sum += st.cf[at(k)] * std::exp(list.pairs[at(k)].work - top);
    sn.work = top + std::log(sum);
  }
}

// Posterior weights w = c v / V_i at the current log pair values.
void pair_weights(CsState& st) {
  subject_totals(st);
  StudyList& list = st.w.list;
  for (const SubjectNode& sn : list.subjects)
    for (int k = sn.first; k < sn.last; k++) {
      PairNode& pr = list.pairs[at(k)];
      pr.aw = st.cf[at(k)] * std::exp(pr.work - sn.work);
    }
}

// Posterior weight summed per pair of positions (Wsum) and, with dependence, per
// pattern as well (Wpat).
void weight_sums(CsState& st) {
  std::fill(st.Wsum.begin(), st.Wsum.end(), 0.0);
  if (st.dependence) std::fill(st.Wpat.begin(), st.Wpat.end(), 0.0);
  const StudyList& list = st.w.list;
  for (int i = 0; i < st.nsub; i++) {
    const SubjectNode& sn = list.subjects[at(i)];
    for (int k = sn.first; k < sn.last; k++) {
      const double wk = list.pairs[at(k)].aw;
      st.Wsum[at(st.tri(st.pa[at(k)], st.pb[at(k)]))] += wk;
      if (st.dependence) st.Wpat[at(st.pjab(st.pat[at(i)], st.pa[at(k)], st.pb[at(k)]))] += wk;
    }
  }
}

// Gradient of sum_pairs w (log SW(a,b) - gamma_j - eta.D(j,a,b)) after weight_sums:
// adds the gamma part to g_gamma[0..J-2] and, when g_eta is given, the eta part
// to g_eta[0..qq-1].
void pattern_gradient(CsState& st, double* g_gamma, double* g_eta) {
  const int KK = st.KK, J = st.J, G = st.G;
  for (int j = 0; j < J; j++)
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) {
        const int t = st.tri(a, b), s = st.pjab(j, a, b);
        st.R[at(s)] = st.Wsum[at(t)] * st.W[at(s)] / st.SW[at(t)] - st.Wpat[at(s)];
      }
  if (st.ngamma > 0)
    for (int j = 1; j < J; j++) {
      double sum = 0.0;
      for (int a = 0; a < KK; a++)
        for (int b = a; b < KK; b++) sum += st.R[at(st.pjab(j, a, b))];
      g_gamma[j - 1] += sum;
    }
  if (g_eta == nullptr || st.qq == 0) return;
  // sum_{j,a<=b} D_m(j,a,b) R(j,a,b) per entry m = d G + g, skipping the zero entries of D.
  const Window& w = st.w;
  std::fill(st.eta_acc.begin(), st.eta_acc.end(), 0.0);
  for (int j = 0; j < J; j++)
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) {
        const int t = st.tri(a, b);
        const double r = st.R[at(st.pjab(j, a, b))];
        for (int d = 0; d < w.pD; d++) {
          const double x = w.X[j][d];
          for (int e = st.dep_first[at(t)]; e < st.dep_first[at(t) + 1]; e++)
            st.eta_acc[at(d * G + st.dep_g[at(e)])] += x * st.dep_cnt[at(e)] * r;
        }
      }
  for (int m = 0; m < st.qq; m++) g_eta[m] += st.eta_acc[at(m)];
}

// Information over the first Pinfo parameters: the panel's Louis information
// when it takes part, plus the cross-products of the per-subject log-likelihood
// differences at theta_p + h, h = 1/n_new. perturbed(theta) must leave the
// per-subject log-likelihoods at theta in st.ell and return 0 on failure.
template <class Perturbed>
int information(CsState& st, double* theta, Mat<double>& I, Perturbed perturbed) {
  Window& w = st.w;
  const int Pi = st.Pinfo, nsub = st.nsub;
  I.fill(0.0);
  if (w.ext == 1) {
    exp_eval_CS(st, theta);
    link_eval_ext(w, st.E, st.hapmap);
    Louis_ext(w, I, st.E, st.hapmap);
    for (int r = 1; r <= Pi; r++)
      for (int c = r + 1; c <= Pi; c++) I[c][r] = I[r][c];
  }
  const double h = 1.0 / w.n_new;
  std::vector<double> s(at(Pi) * at(nsub));
  for (int p = 0; p < Pi; p++)
    for (int i = 0; i < nsub; i++) s[at(p) * at(nsub) + at(i)] = -st.ell[at(i)];
  for (int p = 0; p < Pi; p++) {
    theta[p] += h;
    if (!perturbed(theta)) return 0;
    double* sp = s.data() + at(p) * at(nsub);
    for (int i = 0; i < nsub; i++) sp[i] += st.ell[at(i)];
    theta[p] -= h;
    for (int m = 0; m <= p; m++) {
      const double* sm = s.data() + at(m) * at(nsub);
      double sum = 0.0;
      for (int i = 0; i < nsub; i++) sum += sp[i] * sm[i];
      I[p + 1][m + 1] += sum / (h * h);
    }
  }
  for (int r = 1; r <= Pi; r++)
    for (int c = r + 1; c <= Pi; c++) I[r][c] = I[c][r];
  return 1;
}

// Checks the information and inverts it in place; 1 when the inverse is a usable covariance.
int usable_covariance(Mat<double>& I, int n) {
  if (explosion_E(I, n)) return 0;
  invv(I, n);
  return inproper_std(I, n) ? 0 : 1;
}

// Estimates and standard errors; a continuous trait reports the error variance
// itself, its standard error scaled by the variance (delta method).
void report(const CsState& st, double* est, double* se, const double* theta, const Mat<double>& V) {
  orig_freq(st.w, est, se, theta, V, st.Pinfo);
  if (!st.binary) {
    const int k = st.q - 1;
    est[k] = std::exp(est[k]);
    se[k] *= est[k];
  }
}

}  // namespace

CsState::CsState(Window& win, const StudyData& sd, const int* map, bool dep, int n_gamma)
    : w(win), study(sd), hapmap(map), dependence(dep) {
  binary = sd.cs_bin == 1;
  q = w.q;
  KK = w.KK;
  J = w.J > 0 ? w.J : 1;
  ngamma = n_gamma;
  nz = binary ? q : q - 1;
  const StudyList& list = w.list;
  nsub = static_cast<int>(list.subjects.size());
  const std::size_t npairs = list.pairs.size();
  y.resize(at(nsub));
  pat.resize(at(nsub));
  pa.resize(npairs);
  pb.resize(npairs);
  cf.resize(npairs);
  Z.assign(npairs * at(nz > 0 ? nz : 0), 0.0);
  std::vector<double> z(at(q + 2));
  for (int i = 0; i < nsub; i++) {
    const SubjectNode& sn = list.subjects[at(i)];
    y[at(i)] = sd.TRAIT[at(sn.idx)];
    pat[at(i)] = sn.stratum;
    for (int k = sn.first; k < sn.last; k++) {
      const PairNode& pr = list.pairs[at(k)];
      const int p1 = map[pr.h1], p2 = map[pr.h2];
      pa[at(k)] = p1 < p2 ? p1 : p2;
      pb[at(k)] = p1 < p2 ? p2 : p1;
      cf[at(k)] = pr.h1 == pr.h2 ? 1.0 : 2.0;
      const int written = Zvec(w, z.data(), sn.stratum, pr.h1, pr.h2);
      if (written != nz) consistent = false;
      for (int m = 0; m < nz && m < written; m++) Z[at(k) * at(nz) + at(m)] = z[at(m)];
    }
  }
  alpha.assign(at(KK), 0.0);
  E = dmatrix(0, KK - 1, 0, KK - 1);
  const std::size_t kk2 = at(KK) * at(KK), jkk = at(J) * kk2;
  SW.assign(kk2, 1.0);
  logSW.assign(kk2, 0.0);
  Wsum.assign(kk2, 0.0);
  if (dependence) {
    etaD.assign(jkk, 0.0);
    W.assign(jkk, 0.0);
    Wpat.assign(jkk, 0.0);
    R.assign(jkk, 0.0);
  }
  lin.assign(npairs, 0.0);
  fixed.assign(npairs, 0.0);
  ell.assign(at(nsub), 0.0);
  set_qq(0);
}

void CsState::set_qq(int qq_new) {
  qq = qq_new;
  G = w.pD > 0 ? qq / w.pD : 0;
  off_eta = q + KK - 1;
  off_gamma = off_eta + qq;
  Pinfo = off_gamma;
  P = off_gamma + ngamma;
  gamma.assign(at(ngamma), 0.0);
  // Dependence coding of a pair: the copies of each dependence haplotype in it,
  // kept for the haplotypes it holds (ascending g).
  dep_first.assign(at(KK) * at(KK) + 1, 0);
  dep_g.clear();
  dep_cnt.clear();
  for (int t = 0; t < KK * KK; t++) {
    dep_first[at(t)] = static_cast<int>(dep_g.size());
    const int a = t / KK, b = t % KK;
    if (a <= b)
      for (int g = 0; g < G; g++) {
        const int c = w.hap_GOR[at(g)];
        const double count = (w.hap_freq[at(a)] == c ? 1.0 : 0.0) + (w.hap_freq[at(b)] == c ? 1.0 : 0.0);
        if (count != 0.0) {
          dep_g.push_back(g);
          dep_cnt.push_back(count);
        }
      }
  }
  dep_first[at(KK) * at(KK)] = static_cast<int>(dep_g.size());
  eta_acc.assign(at(qq), 0.0);
}

void cs_start(const CsState& st, const double* freq, double* theta) {
  for (int k = 0; k < st.P; k++) theta[k] = 0.0;
  const std::vector<int>& hf = st.w.hap_freq;
  for (int k = 1; k < st.KK; k++) theta[st.q + k - 1] = std::log(freq[hf[at(k)]] / freq[hf[0]]);
}

void exp_eval_CS(CsState& st, const double* theta) {
  const int KK = st.KK, q = st.q;
  st.alpha[0] = 0.0;
  for (int k = 1; k < KK; k++) st.alpha[at(k)] = theta[q + k - 1];
  st.U = 0.0;
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) {
      st.E[a][b] = std::exp(st.alpha[at(a)] + st.alpha[at(b)]);
      st.U += (a == b ? 1.0 : 2.0) * st.E[a][b];
    }
  if (st.dependence) {
    // eta.D(j,a,b) = sum_m eta_m D_m(j,a,b) over the entries m = d G + g that are
    // not zero, in the order of m.
    const Window& w = st.w;
    const int G = st.G;
    const double* eta = theta + st.off_eta;
    for (int j = 0; j < st.J; j++)
      for (int a = 0; a < KK; a++)
        for (int b = a; b < KK; b++) {
          const int t = st.tri(a, b);
          double sum = 0.0;
          for (int d = 0; d < w.pD; d++) {
            const double x = w.X[j][d];
            for (int e = st.dep_first[at(t)]; e < st.dep_first[at(t) + 1]; e++)
              sum += eta[d * G + st.dep_g[at(e)]] * (x * st.dep_cnt[at(e)]);
          }
          st.etaD[at(st.pjab(j, a, b))] = sum;
        }
    pattern_weights(st, theta + st.off_gamma);
  }
  if (st.binary)
    st.dependence ? pair_values<true, true>(st, theta) : pair_values<true, false>(st, theta);
  else
    st.dependence ? pair_values<false, true>(st, theta) : pair_values<false, false>(st, theta);
}

void link_eval_CS(CsState& st) {
  pair_weights(st);
  if (st.w.ext == 1) link_eval_ext(st.w, st.E, st.hapmap);
}

double loglike_CS(CsState& st) {
  const Window& w = st.w;
  double f = w.n_new * std::log(st.U);
  for (const PairNode& pr : w.list.pairs) f -= pr.aw * pr.work;
  if (w.ext == 1) loglike_ext(w, f, st.E, st.U, st.hapmap);
  return f;
}

void dloglike_CS(CsState& st, const double* theta, double* g) {
  const Window& w = st.w;
  const int q = st.q, nz = st.nz, KK = st.KK;
  for (int k = 0; k < st.P; k++) g[k] = 0.0;
  const double s2 = st.binary ? 1.0 : std::exp(theta[q - 1]);
  for (int i = 0; i < st.nsub; i++) {
    const SubjectNode& sn = w.list.subjects[at(i)];
    const double yi = st.y[at(i)];
    for (int k = sn.first; k < sn.last; k++) {
      const double wk = w.list.pairs[at(k)].aw;
      const double* z = st.Z.data() + at(k) * at(nz);
      double fac;
      if (st.binary) {
        fac = wk * (yi - 1.0 / (1.0 + std::exp(-st.lin[at(k)])));
      } else {
        const double r = yi - st.lin[at(k)];
        fac = wk * r / s2;
        g[q - 1] -= wk * (r * r / (2.0 * s2) - 0.5);
      }
      for (int m = 0; m < nz; m++) g[m] -= fac * z[m];
    }
  }
  weight_sums(st);
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) {
      const double e = w.n_new * (a == b ? 1.0 : 2.0) * st.E[a][b] / st.U - st.Wsum[at(st.tri(a, b))];
      if (a > 0) g[q + a - 1] += e;
      if (b > 0) g[q + b - 1] += e;
    }
  if (st.dependence) pattern_gradient(st, g + st.off_gamma, g + st.off_eta);
  if (w.ext == 1) dloglike_ext(w, g, st.E, st.U, st.hapmap);
}

double obs_loglike_CS(CsState& st) {
  subject_totals(st);
  const Window& w = st.w;
  double sum = 0.0;
  const double logU = std::log(st.U);
  for (int i = 0; i < st.nsub; i++) {
    const double lv = w.list.subjects[at(i)].work;
    st.ell[at(i)] = lv - logU;
    sum += lv;
  }
  double L = sum - w.n_new * logU;
  if (w.ext == 1) {
    // The panel routine adds its negative log-likelihood to an objective.
    double panel = 0.0;
    obs_loglike_ext(w, panel, st.E, st.U, st.hapmap);
    L -= panel;
  }
  return L;
}

void exp_eval_CS_pl(CsState& st, const double* gamma) {
  if (st.dependence) pattern_weights(st, gamma);
  pair_logs(st, gamma);
}

void link_eval_CS_pl(CsState& st) { pair_weights(st); }

// The objective of the full fit; with beta, alpha and eta fixed, the log
// normaliser and the panel term are constants of the profile.
double loglike_CS_pl(CsState& st) { return loglike_CS(st); }

void dloglike_CS_pl(CsState& st, const double* /*gamma*/, double* g) {
  for (int k = 0; k < st.ngamma; k++) g[k] = 0.0;
  if (!st.dependence) return;
  weight_sums(st);
  pattern_gradient(st, g, nullptr);
}

int A7_v_CS(CsState& st, double* theta, double* loglik, int* iter) {
  MinimiserCallbacks cb;
  cb.objective = [&st](const double*) { return loglike_CS(st); };
  cb.gradient = [&st](const double* p, double* g) { dloglike_CS(st, p, g); };
  cb.expected = [&st](const double* p) { exp_eval_CS(st, p); };
  exp_eval_CS(st, theta);
  double L = 0.0;
  const int count = outer_em(
      OuterStop{kCsTolerance, false, kCsMaxFitIterations},
      [&] {
        link_eval_CS(st);
        double fret = 0.0;
        int its = 0;
        dfpmin_CS(theta, st.P, fret, its, cb);
      },
      [&] { return obs_loglike_CS(st); }, L);
  if (count < 0) return 0;
  *loglik = L;
  *iter = count;
  return 1;
}

int A7_pl_CS_qnr(CsState& st, const double* theta, double* L) {
  exp_eval_CS(st, theta);
  if (st.w.ext == 1) link_eval_ext(st.w, st.E, st.hapmap);
  for (int k = 0; k < st.ngamma; k++) st.gamma[at(k)] = theta[st.off_gamma + k];
  MinimiserCallbacks cb;
  cb.objective = [&st](const double*) { return loglike_CS_pl(st); };
  cb.gradient = [&st](const double* p, double* g) { dloglike_CS_pl(st, p, g); };
  cb.expected = [&st](const double* p) { exp_eval_CS_pl(st, p); };
  exp_eval_CS_pl(st, st.gamma.data());
  double value = 1.0, remembered = kCsProfileFirstRemembered;
  int passes = 0;
  while (std::fabs((value - remembered) / remembered) >= kCsTolerance) {
    if (passes >= kCsMaxProfilePasses) return 0;
    remembered = value;
    link_eval_CS_pl(st);
    if (st.ngamma > 0) {
      double fret = 0.0;
      int its = 0;
      dfpmin_CS_pl(st.gamma.data(), st.ngamma, fret, its, cb);
    }
    value = obs_loglike_CS(st);
    passes++;
  }
  *L = value;
  return 1;
}

int A7_CS_pl(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
             const int* hapmap, const double* freq, int ndep) {
  if (ndep <= 0 || w.KK < 1 || w.list.subjects.empty()) return 0;
  CsState st(w, study, hapmap, w.anal == 0, w.J > 1 ? w.J - 1 : 0);
  if (!st.consistent) return 0;
  std::vector<double> theta;
  Mat<double> I;
  auto profile = [&st](const double* t) {
    double L = 0.0;
    return A7_pl_CS_qnr(st, t, &L);
  };
  const int ok = fewer_dependence_haplotypes(ndep, w.pD, [&](int nd) {
    const int qq = w.pD * nd;
    w.qq = qq;
    st.set_qq(qq);
    theta.assign(at(st.P), 0.0);
    cs_start(st, freq, theta.data());
    if (!A7_v_CS(st, theta.data(), loglik, iter)) return -1;
    I = dmatrix(1, st.Pinfo, 1, st.Pinfo);
    if (!information(st, theta.data(), I, profile)) return -1;
    return usable_covariance(I, st.Pinfo);
  });
  if (!ok) return 0;
  report(st, est, se, theta.data(), I);
  return 1;
}

int A7_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq) {
  if (w.KK < 1 || w.list.subjects.empty()) return 0;
  CsState st(w, study, hapmap, false, 0);
  if (!st.consistent) return 0;
  w.qq = 0;
  std::vector<double> theta(at(st.P), 0.0);
  cs_start(st, freq, theta.data());
  if (!A7_v_CS(st, theta.data(), loglik, iter)) return 0;
  Mat<double> I = dmatrix(1, st.Pinfo, 1, st.Pinfo);
  auto perturbed = [&st](const double* t) {
    exp_eval_CS(st, t);
    obs_loglike_CS(st);
    return 1;
  };
  if (!information(st, theta.data(), I, perturbed)) return 0;
  if (!usable_covariance(I, st.Pinfo)) return 0;
  report(st, est, se, theta.data(), I);
  return 1;
}
