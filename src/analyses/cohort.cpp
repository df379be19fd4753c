// Cohort haplotype analyses: the proportional hazards likelihood with unobserved
// haplotype pairs, fitted by an EM-type loop with a quasi-Newton M-step, the
// covariance from per-subject profile scores, with (A6_CO) or without
// (A6_ind_HWE) dependence of the covariate pattern on the haplotype pair.
#include "analyses/cohort.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cmath>
#include <cstddef>
#include <unordered_map>

#include "analyses/analyses.h"
#include "analyses/em_loop.h"
#include "core/ext_panel.h"
#include "core/failtable.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "core/minimiser.h"
#include "design/coding.h"

namespace {

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

// Failures of record t as a double (1 in record 0).
inline double failures(const Window& w, int t) { return static_cast<double>(w.Fp[at(t)].count); }

// The qq dependence entries D(j, a, b) (none when qq is 0).
inline double* dependence_entries(CohortWork& cw, int j, int a, int b) {
  return cw.D.data() + ((at(j) * at(cw.KK) + at(a)) * at(cw.KK) + at(b)) * at(cw.qq);
}

}  // namespace

void prepare_cohort(Window& w, const StudyData& study, const int* hapmap, bool dependence, CohortWork& cw) {
  cw.hapmap = hapmap;
  cw.dependence = dependence;
  cw.q = w.q;
  cw.KK = w.KK;
  cw.J = w.J;
  cw.T = w.T;
  cw.n_new = w.n_new;
  const int q = cw.q, KK = cw.KK, T = cw.T;

  // Subjects and their pairs in table order.
  cw.walk.clear();
  cw.event.clear();
  cw.first.clear();
  cw.pair_index.clear();
  cw.start.assign(at(T) + 2, 0);
  for (int t = 0; t <= T; t++) {
    cw.start[at(t)] = static_cast<int>(cw.walk.size());
    for (int pos : w.Fp[at(t)].subjects) {
      const SubjectNode& s = w.list.subjects[at(pos)];
      cw.walk.push_back(pos);
      cw.event.push_back(t > 0 && study.EVENT[at(s.idx)] == 1 ? 1 : 0);
      cw.first.push_back(static_cast<int>(cw.pair_index.size()));
      for (int e = s.first; e < s.last; e++) cw.pair_index.push_back(e);
    }
  }
  cw.start[at(T) + 1] = static_cast<int>(cw.walk.size());
  cw.first.push_back(static_cast<int>(cw.pair_index.size()));
  cw.weight.assign(cw.pair_index.size(), 0.0);
  cw.log_d.assign(at(T) + 1, 0.0);
  for (int t = 0; t <= T; t++) cw.log_d[at(t)] = std::log(failures(w, t));

  // One cell per distinct (pattern, a, b) among the pairs, in order of first use.
  cw.pair_cell.assign(cw.pair_index.size(), 0);
  cw.cell_j.clear();
  cw.cell_a.clear();
  cw.cell_b.clear();
  cw.cell_c.clear();
  cw.cell_Z.clear();
  std::unordered_map<long long, int> cells;
  // Room for every entry Zvec can write, whatever the model.
  std::vector<double> z(at(q) + at(2 * w.pH + w.pX + w.pX * w.pX + 2 * w.pX * w.pH + 1), 0.0);
  for (std::size_t k = 0; k < cw.walk.size(); k++) {
    const SubjectNode& s = w.list.subjects[at(cw.walk[k])];
    for (int e = cw.first[k]; e < cw.first[k + 1]; e++) {
      const PairNode& pr = w.list.pairs[at(cw.pair_index[at(e)])];
      const int pa = hapmap[pr.h1], pb = hapmap[pr.h2];
      const int a = std::min(pa, pb), b = std::max(pa, pb);
      const long long key = (static_cast<long long>(s.stratum) * KK + a) * KK + b;
      auto found = cells.find(key);
      int id;
      if (found == cells.end()) {
        id = static_cast<int>(cw.cell_j.size());
        cells.emplace(key, id);
        cw.cell_j.push_back(s.stratum);
        cw.cell_a.push_back(a);
        cw.cell_b.push_back(b);
        cw.cell_c.push_back(a == b ? 1.0 : 2.0);
        // Zvec is symmetric in the two haplotypes, so the cell's codes serve every pair in it.
        Zvec(w, z.data(), s.stratum, w.hap_freq[at(a)], w.hap_freq[at(b)]);
        cw.cell_Z.insert(cw.cell_Z.end(), z.begin(), z.begin() + q);
      } else {
        id = found->second;
      }
      cw.pair_cell[at(e)] = id;
    }
  }
  const std::size_t ncell = cw.cell_j.size();
  cw.cell_lp.assign(ncell, 0.0);
  cw.cell_r.assign(ncell, 0.0);
  cw.cell_base.assign(ncell, 0.0);
  cw.cell_logbase.assign(ncell, 0.0);
  cw.cell_A.assign(ncell, 0.0);
  cw.cell_Aev.assign(ncell, 0.0);

  cw.E = dmatrix(0, KK - 1, 0, KK - 1);
  cw.lambda.assign(at(T) + 1, 0.0);
  cw.ell.assign(w.list.subjects.size(), 0.0);
  cw.S1.assign(at(q), 0.0);
  cw.pos_A.assign(at(KK) * at(KK), 0.0);
  cw.dU.assign(at(KK), 0.0);
  cw.delta_lambda.assign(at(T), 0.0);
  cw.previous.assign(at(T), 0.0);
  set_dependence(w, cw, 0);
}

void set_dependence(Window& w, CohortWork& cw, int qq) {
  const int q = cw.q, KK = cw.KK, J = cw.J;
  w.qq = qq;
  cw.qq = qq;
  cw.tables_valid = false;
  cw.P = q + KK - 1 + (cw.dependence ? qq + J - 1 : 0);
  if (!cw.dependence) return;
  cw.W = dmatrix3(0, J - 1, 0, KK - 1, 0, KK - 1);
  cw.SWthrough = dmatrix3(0, J - 1, 0, KK - 1, 0, KK - 1);
  cw.SW = dmatrix(0, KK - 1, 0, KK - 1);
  cw.D.assign(at(J) * at(KK) * at(KK) * at(qq), 0.0);
  // Dvec writes its entries behind the coefficients and ratios of a full vector.
  const int offset = q + KK - 1;
  std::vector<double> v(at(offset + qq), 0.0);
  for (int j = 0; j < J; j++)
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) {
        Dvec(w, v.data(), j, w.hap_freq[at(a)], w.hap_freq[at(b)]);
        double* Dp = dependence_entries(cw, j, a, b);
        for (int m = 0; m < qq; m++) Dp[m] = v[at(offset + m)];
      }
}

void start_values(const Window& w, CohortWork& cw, const double* freq, double* theta) {
  const int q = cw.q, KK = cw.KK, T = cw.T;
  for (int i = 0; i < cw.P; i++) theta[i] = 0.0;
  for (int k = 1; k < KK; k++)
    theta[q + k - 1] = std::log(freq[w.hap_freq[at(k)]] / freq[w.hap_freq[0]]);
  // Nelson-Aalen: failures over the subjects in records t..T.
  cw.lambda[0] = 0.0;
  for (int t = 1; t <= T; t++) {
    const double at_risk = static_cast<double>(cw.start[at(T) + 1] - cw.start[at(t)]);
    cw.lambda[at(t)] = failures(w, t) / at_risk;
  }
}

void exp_eval_CO(const Window&, CohortWork& cw, const double* theta) {
  const int q = cw.q, KK = cw.KK, J = cw.J, qq = cw.qq;
  // Each table is a function of some of the parameters; one whose parameters
  // have the very bits they had at the last evaluation keeps its values. (The
  // information step moves one parameter at a time, which with J patterns
  // saves all but a few of the J x KK x KK pattern weights.)
  const std::size_t P = at(cw.P);
  const bool all = !cw.tables_valid || cw.tables_at.size() != P;
  auto moved = [&](int from, int to) {
    if (all) return true;
    for (int i = from; i < to; i++)
      if (std::bit_cast<std::uint64_t>(theta[i]) != std::bit_cast<std::uint64_t>(cw.tables_at[at(i)])) return true;
    return false;
  };
  const bool beta_moved = moved(0, q);
  const bool alpha_moved = moved(q, q + KK - 1);
  const int eta0 = q + KK - 1, gamma0 = eta0 + qq;  // gamma_j at theta[gamma0 + j - 1]
  const bool eta_moved = cw.dependence && moved(eta0, gamma0);
  std::vector<unsigned char>& pattern_moved = cw.pattern_moved;
  pattern_moved.assign(at(J), 0);
  if (cw.dependence)
    for (int j = 1; j < J; j++) pattern_moved[at(j)] = moved(gamma0 + j - 1, gamma0 + j) ? 1 : 0;
  cw.tables_at.assign(theta, theta + P);
  cw.tables_valid = true;

  if (alpha_moved) {
    cw.U = 0.0;
    for (int a = 0; a < KK; a++) {
      const double alpha_a = a > 0 ? theta[q + a - 1] : 0.0;
      for (int b = a; b < KK; b++) {
        const double alpha_b = b > 0 ? theta[q + b - 1] : 0.0;
        cw.E[a][b] = std::exp(alpha_a + alpha_b);
        cw.U += (a == b ? 1.0 : 2.0) * cw.E[a][b];
      }
    }
  }
  int first_moved = J;  // first pattern whose weights were recomputed
  if (cw.dependence) {
    const double* eta = theta + eta0;
    for (int j = 0; j < J; j++) {
      if (!all && !eta_moved && !pattern_moved[at(j)]) continue;
      if (first_moved == J) first_moved = j;
      const double gj = j > 0 ? theta[gamma0 + j - 1] : 0.0;
      for (int a = 0; a < KK; a++)
        for (int b = a; b < KK; b++) {
          const double* Dp = dependence_entries(cw, j, a, b);
          double s = 0.0;
          for (int m = 0; m < qq; m++) s += eta[m] * Dp[m];
          cw.W(j, a, b) = std::exp(gj + s);
        }
    }
    if (first_moved < J) {
      // SumW(a,b) over the patterns in their order, pattern by pattern; the sums
      // through each pattern are kept, so that the patterns before the first
      // recomputed one need not be added again.
      for (int a = 0; a < KK; a++)
        for (int b = a; b < KK; b++) cw.SW[a][b] = first_moved > 0 ? cw.SWthrough(first_moved - 1, a, b) : 0.0;
      for (int j = first_moved; j < J; j++)
        for (int a = 0; a < KK; a++)
          for (int b = a; b < KK; b++) {
            cw.SW[a][b] += cw.W(j, a, b);
            cw.SWthrough(j, a, b) = cw.SW[a][b];
          }
    }
  }
  const bool weights_moved = first_moved < J;
  const std::size_t ncell = cw.cell_j.size();
  if (beta_moved)
    for (std::size_t c = 0; c < ncell; c++) {
      const double* Z = cw.cell_Z.data() + c * at(q);
      double lp = 0.0;
      for (int m = 0; m < q; m++) lp += theta[m] * Z[m];
      cw.cell_lp[c] = lp;
      cw.cell_r[c] = std::exp(lp);
    }
  if (alpha_moved || weights_moved)
    for (std::size_t c = 0; c < ncell; c++) {
      const int a = cw.cell_a[c], b = cw.cell_b[c];
      double base = cw.E[a][b];
      if (cw.dependence) base = base * cw.W(cw.cell_j[c], a, b) / cw.SW[a][b];
      cw.cell_base[c] = base;
      cw.cell_logbase[c] = std::log(base);
    }
}

void link_eval_CO(Window& w, CohortWork& cw) {
  std::fill(cw.cell_A.begin(), cw.cell_A.end(), 0.0);
  std::fill(cw.cell_Aev.begin(), cw.cell_Aev.end(), 0.0);
  for (int t = 0; t <= cw.T; t++) {
    const double Lambda = w.Fp[at(t)].cumhaz;
    for (int k = cw.start[at(t)]; k < cw.start[at(t) + 1]; k++) {
      const bool ev = cw.event[at(k)] != 0;
      const int e0 = cw.first[at(k)], e1 = cw.first[at(k) + 1];
      double sum = 0.0;
      for (int e = e0; e < e1; e++) {
        const std::size_t c = at(cw.pair_cell[at(e)]);
        const double r = cw.cell_r[c];
        const double v = std::exp(-Lambda * r) * (ev ? r : 1.0) * cw.cell_base[c] * cw.cell_c[c];
        cw.weight[at(e)] = v;
        sum += v;
      }
      for (int e = e0; e < e1; e++) {
        const std::size_t c = at(cw.pair_cell[at(e)]);
        const double v = cw.weight[at(e)] / sum;
        cw.weight[at(e)] = v;
        w.list.pairs[at(cw.pair_index[at(e)])].aw = v;
        cw.cell_A[c] += v;
        if (ev) cw.cell_Aev[c] += v;
      }
    }
  }
  if (w.ext == 1) link_eval_ext(w, cw.E, cw.hapmap);
}

void ford_eval_CO(Window& w, const CohortWork& cw) {
  const int T = cw.T;
  w.Fp[at(T) + 1].risksum = 0.0;
  for (int t = T; t >= 1; t--) {
    double S = w.Fp[at(t) + 1].risksum;
    const int e1 = cw.first[at(cw.start[at(t) + 1])];
    for (int e = cw.first[at(cw.start[at(t)])]; e < e1; e++)
      S += cw.weight[at(e)] * cw.cell_r[at(cw.pair_cell[at(e)])];
    w.Fp[at(t)].risksum = S;
  }
  w.Fp[0].risksum = 1.0;
}

void lam_eval_CO(const Window& w, CohortWork& cw) {
  for (int t = 1; t <= cw.T; t++) cw.lambda[at(t)] = failures(w, t) / w.Fp[at(t)].risksum;
}

void back_eval_CO(Window& w, const CohortWork& cw) {
  w.Fp[0].cumhaz = 0.0;
  for (int t = 1; t <= cw.T; t++) w.Fp[at(t)].cumhaz = w.Fp[at(t) - 1].cumhaz + cw.lambda[at(t)];
}

double loglike_CO(const Window& w, const CohortWork& cw) {
  double f = cw.n_new * std::log(cw.U);
  for (int t = 0; t <= cw.T; t++) {
    f += failures(w, t) * (std::log(w.Fp[at(t)].risksum) - cw.log_d[at(t)]);
  }
  for (std::size_t k = 0; k < cw.walk.size(); k++) {
    const bool ev = cw.event[k] != 0;
    for (int e = cw.first[k]; e < cw.first[k + 1]; e++) {
      const std::size_t c = at(cw.pair_cell[at(e)]);
      f -= cw.weight[at(e)] * ((ev ? cw.cell_lp[c] : 0.0) + cw.cell_logbase[c]);
    }
  }
  if (w.ext == 1) loglike_ext(w, f, cw.E, cw.U, cw.hapmap);
  return f;
}

void dloglike_CO(const Window& w, CohortWork& cw, double* g) {
  const int q = cw.q, KK = cw.KK, J = cw.J, qq = cw.qq;
  std::fill(g, g + cw.P, 0.0);
  std::fill(cw.S1.begin(), cw.S1.end(), 0.0);

  // Coefficients: sum_t d_t S1_t / S_t - sum of w delta Z, the risk-set sums S1_t
  // of w r Z built from the latest record back. Record 0 is in no risk set.
  for (int t = cw.T; t >= 1; t--) {
    const int e1 = cw.first[at(cw.start[at(t) + 1])];
    for (int e = cw.first[at(cw.start[at(t)])]; e < e1; e++) {
      const std::size_t c = at(cw.pair_cell[at(e)]);
      const double wr = cw.weight[at(e)] * cw.cell_r[c];
      const double* Z = cw.cell_Z.data() + c * at(q);
      for (int m = 0; m < q; m++) cw.S1[at(m)] += wr * Z[m];
    }
    const double ratio = failures(w, t) / w.Fp[at(t)].risksum;
    for (int m = 0; m < q; m++) g[m] += ratio * cw.S1[at(m)];
  }
  for (std::size_t c = 0; c < cw.cell_Aev.size(); c++) {
    const double A = cw.cell_Aev[c];
    const double* Z = cw.cell_Z.data() + c * at(q);
    for (int m = 0; m < q; m++) g[m] -= A * Z[m];
  }

  // Frequency ratios: n_new dlog U - the weights' haplotype counts.
  std::fill(cw.dU.begin(), cw.dU.end(), 0.0);
  for (int a = 0; a < KK; a++)
    for (int b = a; b < KK; b++) {
      const double v = (a == b ? 1.0 : 2.0) * cw.E[a][b];
      cw.dU[at(a)] += v;
      cw.dU[at(b)] += v;
    }
  for (int k = 1; k < KK; k++) g[q + k - 1] += cw.n_new * cw.dU[at(k)] / cw.U;
  std::fill(cw.pos_A.begin(), cw.pos_A.end(), 0.0);
  for (std::size_t c = 0; c < cw.cell_A.size(); c++) {
    const int a = cw.cell_a[c], b = cw.cell_b[c];
    const double A = cw.cell_A[c];
    cw.pos_A[at(a) * at(KK) + at(b)] += A;
    if (a > 0) g[q + a - 1] -= A;
    if (b > 0) g[q + b - 1] -= A;
  }

  // Dependence: -sum of w (dlog W_j(a,b) - dlog SumW(a,b)).
  if (cw.dependence) {
    double* g_eta = g + q + KK - 1;
    double* g_gamma = g_eta + qq;  // gamma_j at g_gamma[j - 1]
    for (std::size_t c = 0; c < cw.cell_A.size(); c++) {
      const int j = cw.cell_j[c];
      const double A = cw.cell_A[c];
      const double* Dp = dependence_entries(cw, j, cw.cell_a[c], cw.cell_b[c]);
      for (int m = 0; m < qq; m++) g_eta[m] -= A * Dp[m];
      if (j > 0) g_gamma[j - 1] -= A;
    }
    for (int a = 0; a < KK; a++)
      for (int b = a; b < KK; b++) {
        const double A = cw.pos_A[at(a) * at(KK) + at(b)];
        if (A == 0.0) continue;
        for (int j = 0; j < J; j++) {
          const double share = A * cw.W(j, a, b) / cw.SW[a][b];
          if (j > 0) g_gamma[j - 1] += share;
          const double* Dp = dependence_entries(cw, j, a, b);
          for (int m = 0; m < qq; m++) g_eta[m] += share * Dp[m];
        }
      }
  }
  if (w.ext == 1) dloglike_ext(w, g, cw.E, cw.U, cw.hapmap);
}

double obs_loglike_CO(Window& w, CohortWork& cw) {
  std::fill(cw.ell.begin(), cw.ell.end(), 0.0);
  const double logU = std::log(cw.U);
  double total = 0.0;
  for (int t = 0; t <= cw.T; t++) {
    const double Lambda = w.Fp[at(t)].cumhaz;
    // Tied failures share the interval's jump.
    const double jump = t > 0 ? cw.lambda[at(t)] / failures(w, t) : 0.0;
    for (int k = cw.start[at(t)]; k < cw.start[at(t) + 1]; k++) {
      const int pos = cw.walk[at(k)];
      const bool ev = cw.event[at(k)] != 0;
      double L = 0.0;
      for (int e = cw.first[at(k)]; e < cw.first[at(k) + 1]; e++) {
        const std::size_t c = at(cw.pair_cell[at(e)]);
        const double r = cw.cell_r[c];
        L += cw.cell_c[c] * (ev ? jump * r : 1.0) * std::exp(-Lambda * r) * cw.cell_base[c];
      }
      const double logL = std::log(L);
      cw.ell[at(pos)] = logL - logU;
      total += logL;
    }
  }
  total -= cw.n_new * logU;
  if (w.ext == 1) {
    // The panel routine adds a negative log-likelihood to an objective.
    double panel = 0.0;
    obs_loglike_ext(w, panel, cw.E, cw.U, cw.hapmap);
    total -= panel;
  }
  return total;
}

int A6_v_CO(Window& w, CohortWork& cw, double* theta, double* loglik, int* iter) {
  MinimiserCallbacks cb;
  cb.objective = [&](const double*) { return loglike_CO(w, cw); };
  cb.gradient = [&](const double*, double* g) { dloglike_CO(w, cw, g); };
  cb.expected = [&](const double* p) {
    exp_eval_CO(w, cw, p);
    ford_eval_CO(w, cw);
  };
  exp_eval_CO(w, cw, theta);
  back_eval_CO(w, cw);
  double L = 0.0;
  const int count = outer_em(
      OuterStop{kCohortFitTolerance, false, kCohortMaxFitIterations},
      [&] {
        link_eval_CO(w, cw);
        ford_eval_CO(w, cw);
        double fret = 0.0;
        int its = 0;
        dfpmin_CO(theta, cw.P, fret, its, cb);
        lam_eval_CO(w, cw);
        back_eval_CO(w, cw);
      },
      [&] { return obs_loglike_CO(w, cw); }, L);
  if (count < 0) return 0;
  *loglik = L;
  *iter = count;
  return 1;
}

int A6_pl_CO(Window& w, CohortWork& cw, const double* theta, double& l) {
  const int T = cw.T;
  std::fill(cw.delta_lambda.begin(), cw.delta_lambda.end(), 0.0);
  std::fill(cw.previous.begin(), cw.previous.end(), 0.0);
  if (T > 0) cw.delta_lambda[0] = 1.0;
  exp_eval_CO(w, cw, theta);
  back_eval_CO(w, cw);
  int count = 0;
  while (length(cw.delta_lambda.data(), T) >= kCohortProfileTolerance) {
    if (count == kCohortMaxProfileIterations) return 0;
    link_eval_CO(w, cw);
    ford_eval_CO(w, cw);
    lam_eval_CO(w, cw);
    back_eval_CO(w, cw);
    for (int t = 0; t < T; t++) {
      cw.delta_lambda[at(t)] = cw.lambda[at(t) + 1] - cw.previous[at(t)];
      cw.previous[at(t)] = cw.lambda[at(t) + 1];
    }
    count++;
  }
  l = obs_loglike_CO(w, cw);
  return 1;
}

int A6_information_CO(Window& w, CohortWork& cw, double* theta, Mat<double>& I) {
  const int P = cw.P;
  const int n = static_cast<int>(cw.ell.size());
  I = dmatrix(1, P, 1, P);
  if (w.ext == 1) {
    Louis_ext(w, I, cw.E, cw.hapmap);
    for (int i = 1; i <= P; i++)
      for (int j = i + 1; j <= P; j++) I[j][i] = I[i][j];
  }
  // score[p][i] = ell_i(theta + h e_p) - ell_i(theta): the subject's profile score
  // times h, each parameter's scores contiguous.
  const double h = 1.0 / cw.n_new;
  const std::size_t nn = at(n);
  std::vector<double>& score = cw.score;
  score.assign(at(P) * nn, 0.0);
  for (int p = 0; p < P; p++) {
    double* sp = score.data() + at(p) * nn;
    for (std::size_t i = 0; i < nn; i++) sp[i] = -cw.ell[i];
  }
  for (int p = 0; p < P; p++) {
    theta[p] += h;
    double l = 0.0;
    const int ok = A6_pl_CO(w, cw, theta, l);
    theta[p] -= h;
    if (!ok) return 0;
    double* sp = score.data() + at(p) * nn;
    for (std::size_t i = 0; i < nn; i++) sp[i] += cw.ell[i];
    for (int m = 0; m <= p; m++) {
      const double* sm = score.data() + at(m) * nn;
      double sum = 0.0;
      for (std::size_t i = 0; i < nn; i++) sum += sp[i] * sm[i];
      I[p + 1][m + 1] += sum / (h * h);
    }
  }
  for (int i = 1; i <= P; i++)
    for (int j = i + 1; j <= P; j++) I[i][j] = I[j][i];
  return 1;
}

namespace {

// One fit of the window's model at its current qq, with the covariance check.
// Returns 1 when the inverse information is usable (then in I), 0 when not, and
// -1 at a safety stop, which ends the analysis.
int fit_and_invert(Window& w, CohortWork& cw, const double* freq, std::vector<double>& theta, Mat<double>& I,
                   double* loglik, int* iter) {
  const int P = cw.P;
  if (P < 1) return 0;
  theta.assign(at(P), 0.0);
  start_values(w, cw, freq, theta.data());
  if (!A6_v_CO(w, cw, theta.data(), loglik, iter)) return -1;
  if (!A6_information_CO(w, cw, theta.data(), I)) return -1;
  if (explosion_E(I, P)) return 0;
  invv(I, P);
  if (inproper_std(I, P)) return 0;
  return 1;
}

}  // namespace

int A6_CO(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
          const double* freq, int ndep) {
  if (ndep <= 0) {
    freeFlist(w);
    return 0;
  }
  makeFlist(w, study.TIME.data(), study.EVENT.data());
  CohortWork cw;
  prepare_cohort(w, study, hapmap, true, cw);
  std::vector<double> theta;
  Mat<double> I;
  const int ok = fewer_dependence_haplotypes(ndep, w.pD, [&](int nd) {
    set_dependence(w, cw, w.pD * nd);
    return fit_and_invert(w, cw, freq, theta, I, loglik, iter);
  });
  if (ok == 1) orig_freq(w, est, se, theta.data(), I, cw.P);
  freeFlist(w);
  return ok == 1 ? 1 : 0;
}

int A6_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq) {
  makeFlist(w, study.TIME.data(), study.EVENT.data());
  CohortWork cw;
  prepare_cohort(w, study, hapmap, false, cw);
  std::vector<double> theta;
  Mat<double> I;
  const int ok = fit_and_invert(w, cw, freq, theta, I, loglik, iter);
  if (ok == 1) orig_freq(w, est, se, theta.data(), I, cw.P);
  freeFlist(w);
  return ok == 1 ? 1 : 0;
}
