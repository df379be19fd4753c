#include "core/freq.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace {

// Hardy-Weinberg multiplicity of an unordered pair.
inline double pair_factor(int h1, int h2) { return h1 == h2 ? 1.0 : 2.0; }

}  // namespace

int A1(Window& w, double* f, int s1, int s2, int study_switch, int panel_switch, const int* STATUS) {
  const int K = w.K;
  std::vector<double> d(static_cast<std::size_t>(K), 1.0);
  std::vector<double> fnew(static_cast<std::size_t>(K));
  int iter = 0;

  while (length(d.data(), K) >= kEmTolerance && iter < kEmMaxIterations) {
    fnew.assign(fnew.size(), 0.0);
    int Ns = 0, Nt = 0, Nd = 0, Nu = 0;

    // Study subjects: posterior of each compatible pair, then its expected
    // haplotype counts (half the weight to each haplotype), subject by subject.
    // Subjects sharing a row of pairs share its weights, which the row's first
    // subject computes.
    if (study_switch == 1) {
      PairNode* pairs = w.list.pairs.data();
      double* acc_new = fnew.data();
      int fresh = 0;  // pairs before this index hold this iteration's weights
      for (const SubjectNode& s : w.list.subjects) {
        if (w.design == kCaseControl && STATUS[s.idx] != s1 && STATUS[s.idx] != s2) continue;
        Ns++;
        if (s.first >= fresh) {
          double P = 0.0;
          for (int p = s.first; p < s.last; p++) {
            PairNode& pr = pairs[p];
            pr.w = pair_factor(pr.h1, pr.h2) * f[pr.h1] * f[pr.h2];
            P += pr.w;
          }
          if (P == 0.0) P = 1.0;
          for (int p = s.first; p < s.last; p++) pairs[p].w = pairs[p].w / P;
          fresh = s.last;
        }
        for (int p = s.first; p < s.last; p++) {
          const PairNode& pr = pairs[p];
          const double half = pr.w / 2.0;
          if (pr.h1 == pr.h2) {
            // Both halves in turn, without a round trip through memory.
            double& acc = acc_new[pr.h1];
            acc = (acc + half) + half;
          } else {
            acc_new[pr.h1] += half;
            acc_new[pr.h2] += half;
          }
        }
      }
    }

    // Panel families: a trio carries four founder haplotypes, a duo three, a
    // singleton two.
    if (panel_switch == 1) {
      for (const FamilyNode& fam : w.list_ex.families) {
        const int nh = fam.type == kTrio ? 4 : fam.type == kDuo ? 3 : 2;
        if (fam.type == kTrio)
          Nt++;
        else if (fam.type == kDuo)
          Nd++;
        else
          Nu++;
        FamilyEntry* entries = w.list_ex.entries.data();
        double P = 0.0;
        for (int e = fam.first; e < fam.last; e++) {
          FamilyEntry& en = entries[e];
          const int* h = en.h;
          double c = pair_factor(h[0], h[1]);
          if (fam.type == kTrio) c = c * pair_factor(h[2], h[3]);
          double term = c * f[h[0]] * f[h[1]];
          if (fam.type != kSingleton) term = term * f[h[2]];
          if (fam.type == kTrio) term = term * f[h[3]];
          en.w = term;
          P += term;
        }
        if (P == 0.0) P = 1.0;
        for (int e = fam.first; e < fam.last; e++) {
          FamilyEntry& en = entries[e];
          en.w = en.w / P;
          for (int k = 0; k < nh; k++) fnew[static_cast<std::size_t>(en.h[k])] += en.w / 2.0;
        }
      }
    }

    // Haplotypes counted: two per study subject and singleton, four per trio, and
    // for a duo three entered at half weight.
    const double total = 2.0 * Nt + Ns + 1.5 * Nd + Nu;
    for (int h = 0; h < K; h++) {
      const double next = fnew[static_cast<std::size_t>(h)] / total;
      d[static_cast<std::size_t>(h)] = next - f[h];
      f[h] = next;
    }
    iter++;
  }
  return iter < kEmMaxIterations ? 1 : 0;
}

double length(const double* v, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; i++) sum += std::fabs(v[i]);
  return sum;
}

void orig_freq(const Window& w, double* est, double* se, const double* theta, const Mat<double>& V, int dim) {
  const int q = w.q, KK = w.KK, qq = w.qq;
  const int rows = q + KK;  // coefficients, KK-1 non-reference frequencies, reference
  const int ref = rows - 1;

  std::vector<double> e(static_cast<std::size_t>(KK));
  double S = 1.0;
  for (int k = 1; k < KK; k++) {
    e[static_cast<std::size_t>(k)] = std::exp(theta[q + k - 1]);
    S += e[static_cast<std::size_t>(k)];
  }

  // Jacobian of (coefficients, frequencies) with respect to all dim parameters;
  // columns 1-based like V, zero beyond the ratio block.
  Mat<double> J = dmatrix(0, rows - 1, 1, dim);
  for (int i = 0; i < q; i++) {
    est[i] = theta[i];
    J[i][i + 1] = 1.0;
  }
  for (int j = 1; j < KK; j++) {
    const double ej = e[static_cast<std::size_t>(j)];
    const int r = q + j - 1;
    est[r] = ej / S;
    for (int k = 1; k < KK; k++) {
      J[r][q + k] = -ej * e[static_cast<std::size_t>(k)] / (S * S);
      if (j == k) J[r][q + k] += ej / S;
    }
  }
  est[ref] = 1.0 / S;
  for (int k = 1; k < KK; k++) J[ref][q + k] = -e[static_cast<std::size_t>(k)] / (S * S);

  // Diagonal of J V J^T.
  std::vector<double> jv(static_cast<std::size_t>(dim) + 1);
  for (int r = 0; r < rows; r++) {
    for (int l = 1; l <= dim; l++) {
      double sum = 0.0;
      for (int k = 1; k <= dim; k++) sum += J[r][k] * V[k][l];
      jv[static_cast<std::size_t>(l)] = sum;
    }
    double var = 0.0;
    for (int l = 1; l <= dim; l++) var += jv[static_cast<std::size_t>(l)] * J[r][l];
    se[r] = std::sqrt(var);
  }

  // The reference haplotype heads the frequency block.
  const double ref_est = est[ref], ref_se = se[ref];
  for (int r = ref; r > q; r--) {
    est[r] = est[r - 1];
    se[r] = se[r - 1];
  }
  est[q] = ref_est;
  se[q] = ref_se;

  // The dependence parameters are reported on their own scale.
  for (int m = 0; m < qq; m++) {
    const int i = q + KK - 1 + m;
    est[q + KK + m] = theta[i];
    se[q + KK + m] = std::sqrt(V[i + 1][i + 1]);
  }
}

int explosion_E(const Mat<double>& a, int n) {
  for (int i = 1; i <= n; i++) {
    double smallest = kExplosionLarge, sum = 0.0;
    for (int j = 1; j <= n; j++) {
      const double v = std::fabs(a[i][j]);
      if (v < smallest) smallest = v;
      sum += v;
    }
    if (smallest >= kExplosionLarge) return 1;
    if (std::isnan(sum)) return 1;
    if (sum < kExplosionSmall) return 1;
  }
  return 0;
}

int inproper_std(const Mat<double>& a, int n) {
  for (int i = 1; i <= n; i++) {
    if (a[i][i] <= 0.0) return 1;
    if (a[i][i] >= kImproperVariance) return 1;
  }
  return 0;
}
