#include "core/freq.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

// Hardy-Weinberg multiplicity of an unordered pair.
inline double pair_factor(int h1, int h2) { return h1 == h2 ? 1.0 : 2.0; }

}  // namespace

namespace {

// The study side of the EM, laid out once per estimation. A subject adds half of
// each pair's weight to each of the pair's two haplotypes, subject after subject;
// only the order of the additions into one haplotype's count matters to the
// result, so the additions are kept as one chain per haplotype (pair positions,
// in subject order) and the chains are summed several at a time.
struct StudyChains {
  int Ns = 0;                            // subjects taking part
  std::vector<std::pair<int, int>> rows;  // distinct pair ranges, in the order of their first subject
  std::vector<int> start;                // chain of haplotype h: pair[start[h] .. start[h+1]-1]
  std::vector<int> pair;
  std::vector<int> order;                // haplotypes, longest chain first
  std::vector<double> half;              // per pair: half its current weight
};

void lay_out(const Window& w, int s1, int s2, const int* STATUS, StudyChains& sc) {
  const std::size_t K = static_cast<std::size_t>(w.K);
  sc.Ns = 0;
  sc.rows.clear();
  sc.start.assign(K + 1, 0);
  std::vector<int> count(K, 0);
  int fresh = 0;  // pairs before this index belong to rows already listed
  auto taking_part = [&](const SubjectNode& s) {
    return !(w.design == kCaseControl && STATUS[s.idx] != s1 && STATUS[s.idx] != s2);
  };
  for (const SubjectNode& s : w.list.subjects) {
    if (!taking_part(s)) continue;
    sc.Ns++;
    if (s.first >= fresh) {
      sc.rows.push_back({s.first, s.last});
      fresh = s.last;
    }
    for (int p = s.first; p < s.last; p++) {
      const PairNode& pr = w.list.pairs[static_cast<std::size_t>(p)];
      count[static_cast<std::size_t>(pr.h1)]++;
      count[static_cast<std::size_t>(pr.h2)]++;
    }
  }
  for (std::size_t h = 0; h < K; h++) sc.start[h + 1] = sc.start[h] + count[h];
  sc.pair.resize(static_cast<std::size_t>(sc.start[K]));
  std::vector<int> next(sc.start.begin(), sc.start.end() - 1);
  for (const SubjectNode& s : w.list.subjects) {
    if (!taking_part(s)) continue;
    for (int p = s.first; p < s.last; p++) {
      const PairNode& pr = w.list.pairs[static_cast<std::size_t>(p)];
      sc.pair[static_cast<std::size_t>(next[static_cast<std::size_t>(pr.h1)]++)] = p;
      sc.pair[static_cast<std::size_t>(next[static_cast<std::size_t>(pr.h2)]++)] = p;
    }
  }
  sc.order.resize(K);
  for (std::size_t h = 0; h < K; h++) sc.order[h] = static_cast<int>(h);
  std::stable_sort(sc.order.begin(), sc.order.end(), [&](int a, int b) { return count[static_cast<std::size_t>(a)] > count[static_cast<std::size_t>(b)]; });
  sc.half.assign(w.list.pairs.size(), 0.0);
}

// fnew[h] = the study's additions into haplotype h, each chain summed in its own
// order, four chains at a time so that their additions overlap.
void add_chains(const StudyChains& sc, double* fnew) {
  const int* c = sc.pair.data();
  const double* half = sc.half.data();
  const std::size_t K = sc.order.size();
  std::size_t g = 0;
  for (; g + 4 <= K; g += 4) {
    const int h[4] = {sc.order[g], sc.order[g + 1], sc.order[g + 2], sc.order[g + 3]};
    const int* p[4];
    int len[4];
    for (int k = 0; k < 4; k++) {
      p[k] = c + sc.start[static_cast<std::size_t>(h[k])];
      len[k] = sc.start[static_cast<std::size_t>(h[k]) + 1] - sc.start[static_cast<std::size_t>(h[k])];
    }
    const int common = std::min(std::min(len[0], len[1]), std::min(len[2], len[3]));
    double x0 = 0.0, x1 = 0.0, x2 = 0.0, x3 = 0.0;
    for (int t = 0; t < common; t++) {
      x0 += half[p[0][t]];
      x1 += half[p[1][t]];
      x2 += half[p[2][t]];
      x3 += half[p[3][t]];
    }
    const double x[4] = {x0, x1, x2, x3};
    for (int k = 0; k < 4; k++) {
      double xk = x[k];
      for (int t = common; t < len[k]; t++) xk += half[p[k][t]];
      fnew[h[k]] = xk;
    }
  }
  for (; g < K; g++) {
    const int h = sc.order[g];
    double x = 0.0;
    for (int t = sc.start[static_cast<std::size_t>(h)]; t < sc.start[static_cast<std::size_t>(h) + 1]; t++) x += half[c[t]];
    fnew[h] = x;
  }
}

}  // namespace

int A1(Window& w, double* f, int s1, int s2, int study_switch, int panel_switch, const int* STATUS) {
  const int K = w.K;
  std::vector<double> d(static_cast<std::size_t>(K), 1.0);
  std::vector<double> fnew(static_cast<std::size_t>(K));
  int iter = 0;
  thread_local StudyChains sc;
  if (study_switch == 1) lay_out(w, s1, s2, STATUS, sc);

  while (length(d.data(), K) >= kEmTolerance && iter < kEmMaxIterations) {
    fnew.assign(fnew.size(), 0.0);
    int Ns = 0, Nt = 0, Nd = 0, Nu = 0;

    // Study subjects: posterior of each compatible pair (once per distinct row of
    // pairs), then its expected haplotype counts, half the weight to each haplotype.
    if (study_switch == 1) {
      PairNode* pairs = w.list.pairs.data();
      for (const auto& [first, last] : sc.rows) {
        double P = 0.0;
        for (int p = first; p < last; p++) {
          PairNode& pr = pairs[p];
          pr.w = pair_factor(pr.h1, pr.h2) * f[pr.h1] * f[pr.h2];
          P += pr.w;
        }
        if (P == 0.0) P = 1.0;
        for (int p = first; p < last; p++) {
          pairs[p].w = pairs[p].w / P;
          sc.half[static_cast<std::size_t>(p)] = pairs[p].w / 2.0;
        }
      }
      add_chains(sc, fnew.data());
      Ns = sc.Ns;
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
