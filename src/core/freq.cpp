#include "core/freq.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

// Hardy-Weinberg multiplicity of an unordered pair.
inline double pair_factor(int h1, int h2) { return h1 == h2 ? 1.0 : 2.0; }

}  // namespace

namespace {

// The study side of the EM, laid out once per estimation. Only the order of the
// additions into one haplotype's count matters to the result: a subject adds half
// of each pair's weight to each of the pair's two haplotypes, subject after
// subject, pair after pair. Each haplotype's additions form a chain of pair
// positions in that order. The chains are dealt to kLanes lanes, longest first to
// the least loaded lane, and stored interleaved step by step, so that the lanes
// advance together with their additions overlapping; a lane that has finished
// adds zero (a no-op on a count that is never -0) until the others finish.
// Subjects that share a row of pairs (see StudyList) share its weights, which are
// computed once per iteration from the pairs' codes kept side by side.
constexpr std::size_t kLanes = 4;

struct ChainEnd {
  std::size_t step;  // the chain's last addition is at step - 1
  std::size_t lane;
  int h;
};

struct StudyChains {
  std::vector<std::pair<int, int>> rows;   // distinct pair ranges, in the order of their first subject
  std::vector<int> h1, h2;                 // per pair position: its codes
  std::vector<double> factor;              // per pair position: its Hardy-Weinberg multiplicity
  std::vector<double> term, total;         // per pair position: c f f and its row's sum
  std::vector<double> half;                // per pair position: half its weight; then one zero
  std::vector<std::uint32_t> stream;       // step t, lane l: stream[t * kLanes + l]
  std::vector<ChainEnd> ends;              // in order of step
  // Scratch of the layout.
  std::vector<int> taking;  // subjects taking part, by position in the list
  std::vector<int> first_row, order;
  std::vector<std::size_t> members, count, lane, begin;
  std::vector<std::uint32_t*> at;
};

void lay_out(const Window& w, int s1, int s2, const int* STATUS, StudyChains& sc) {
  const std::size_t K = static_cast<std::size_t>(w.K);
  const std::size_t npairs = w.list.pairs.size();
  sc.rows.clear();
  sc.h1.resize(npairs);
  sc.h2.resize(npairs);
  sc.factor.resize(npairs);
  sc.term.resize(npairs);
  sc.total.resize(npairs);
  sc.half.assign(npairs + 1, 0.0);
  sc.taking.clear();
  int fresh = 0;  // pairs before this index belong to rows already listed
  std::vector<int>& first_row = sc.first_row;  // row of a range, by its first pair
  first_row.resize(npairs + 1);
  std::vector<std::size_t>& members = sc.members;
  members.clear();
  for (std::size_t i = 0; i < w.list.subjects.size(); i++) {
    const SubjectNode& s = w.list.subjects[i];
    if (w.design == kCaseControl && STATUS[s.idx] != s1 && STATUS[s.idx] != s2) continue;
    if (s.first >= fresh) {
      first_row[static_cast<std::size_t>(s.first)] = static_cast<int>(sc.rows.size());
      sc.rows.push_back({s.first, s.last});
      members.push_back(0);
      fresh = s.last;
      for (int p = s.first; p < s.last; p++) {
        const PairNode& pr = w.list.pairs[static_cast<std::size_t>(p)];
        sc.h1[static_cast<std::size_t>(p)] = pr.h1;
        sc.h2[static_cast<std::size_t>(p)] = pr.h2;
        sc.factor[static_cast<std::size_t>(p)] = pair_factor(pr.h1, pr.h2);
      }
    }
    members[static_cast<std::size_t>(first_row[static_cast<std::size_t>(s.first)])]++;
    sc.taking.push_back(static_cast<int>(i));
  }

  // Chain lengths, row by row: each of a row's pairs adds to two chains once per subject of the row.
  std::vector<std::size_t>& count = sc.count;
  count.assign(K, 0);
  for (std::size_t r = 0; r < sc.rows.size(); r++)
    for (int p = sc.rows[r].first; p < sc.rows[r].second; p++) {
      count[static_cast<std::size_t>(sc.h1[static_cast<std::size_t>(p)])] += members[r];
      count[static_cast<std::size_t>(sc.h2[static_cast<std::size_t>(p)])] += members[r];
    }

  // Deal the chains to the lanes, longest first, each to the least loaded lane.
  std::vector<int>& order = sc.order;
  order.resize(K);
  for (std::size_t h = 0; h < K; h++) order[h] = static_cast<int>(h);
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    const std::size_t ca = count[static_cast<std::size_t>(a)], cb = count[static_cast<std::size_t>(b)];
    return ca > cb || (ca == cb && a < b);
  });
  std::vector<std::size_t>& lane = sc.lane;
  std::vector<std::size_t>& begin = sc.begin;
  lane.assign(K, 0);
  begin.assign(K, 0);
  std::size_t load[kLanes] = {};
  sc.ends.clear();
  for (int h : order) {
    const std::size_t c = count[static_cast<std::size_t>(h)];
    if (c == 0) break;
    std::size_t l = 0;
    for (std::size_t k = 1; k < kLanes; k++)
      if (load[k] < load[l]) l = k;
    lane[static_cast<std::size_t>(h)] = l;
    begin[static_cast<std::size_t>(h)] = load[l];
    load[l] += c;
    sc.ends.push_back({load[l], l, h});
  }
  std::sort(sc.ends.begin(), sc.ends.end(), [](const ChainEnd& a, const ChainEnd& b) { return a.step < b.step || (a.step == b.step && a.lane < b.lane); });
  const std::size_t steps = *std::max_element(load, load + kLanes);
  sc.stream.assign(steps * kLanes, static_cast<std::uint32_t>(npairs));  // the zero after the halves

  // The additions, subject after subject, each to the next free step of its chain.
  std::vector<std::uint32_t*>& at = sc.at;
  at.resize(K);
  for (std::size_t h = 0; h < K; h++) at[h] = sc.stream.data() + begin[h] * kLanes + lane[h];
  const int* h1 = sc.h1.data();
  const int* h2 = sc.h2.data();
  for (int i : sc.taking) {
    const SubjectNode& s = w.list.subjects[static_cast<std::size_t>(i)];
    for (int p = s.first; p < s.last; p++) {
      std::uint32_t*& a1 = at[static_cast<std::size_t>(h1[p])];
      *a1 = static_cast<std::uint32_t>(p);
      a1 += kLanes;
      std::uint32_t*& a2 = at[static_cast<std::size_t>(h2[p])];
      *a2 = static_cast<std::uint32_t>(p);
      a2 += kLanes;
    }
  }
}

// half[i] = x[i] / P[i] / 2, for i < n. A quotient is correctly rounded at any
// vector width, so the widest the machine offers is taken when the compiler can
// offer a choice.
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)
__attribute__((target_clones("avx512f", "avx2", "default")))
#endif
void halve_quotients(const double* x, const double* P, double* half, std::size_t n) {
  for (std::size_t i = 0; i < n; i++) half[i] = x[i] / P[i] / 2.0;
}

// E-step of the study: each distinct row's pair weights under f, kept halved.
void weigh_rows(StudyChains& sc, const double* f) {
  for (const auto& [first, last] : sc.rows) {
    double P = 0.0;
    for (int p = first; p < last; p++) {
      const std::size_t i = static_cast<std::size_t>(p);
      const double x = sc.factor[i] * f[sc.h1[i]] * f[sc.h2[i]];
      sc.term[i] = x;
      P += x;
    }
    if (P == 0.0) P = 1.0;
    for (int p = first; p < last; p++) sc.total[static_cast<std::size_t>(p)] = P;
  }
  halve_quotients(sc.term.data(), sc.total.data(), sc.half.data(), sc.term.size());
}

// fnew[h] = the study's additions into haplotype h, each chain summed in its own order.
void add_chains(const StudyChains& sc, double* fnew) {
  const std::uint32_t* s = sc.stream.data();
  const double* half = sc.half.data();
  double a[kLanes] = {};
  std::size_t t = 0;
  for (const ChainEnd& e : sc.ends) {
    double x0 = a[0], x1 = a[1], x2 = a[2], x3 = a[3];
    for (; t < e.step; t++) {
      const std::uint32_t* at = s + t * kLanes;
      x0 += half[at[0]];
      x1 += half[at[1]];
      x2 += half[at[2]];
      x3 += half[at[3]];
    }
    a[0] = x0, a[1] = x1, a[2] = x2, a[3] = x3;
    fnew[e.h] = a[e.lane];
    a[e.lane] = 0.0;
  }
}

// Leaves each listed pair's weight at its posterior of the last E-step.
void keep_weights(const StudyChains& sc, PairNode* pairs) {
  for (const auto& [first, last] : sc.rows)
    for (int p = first; p < last; p++) pairs[p].w = sc.term[static_cast<std::size_t>(p)] / sc.total[static_cast<std::size_t>(p)];
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
      weigh_rows(sc, f);
      add_chains(sc, fnew.data());
      Ns = static_cast<int>(sc.taking.size());
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
  if (study_switch == 1 && iter > 0) keep_weights(sc, w.list.pairs.data());
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
