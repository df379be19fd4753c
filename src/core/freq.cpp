#include "core/freq.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace {

// The study side of an estimation as distinct rows of pairs: row r's pairs are
// (h1[p], h2[p]) for p = row_first[r] .. row_first[r+1]-1, and subject_row gives
// the row of every subject taking part, in subject order.
struct StudyRows {
  std::vector<int> h1, h2;
  std::vector<int> row_first{0};
  std::vector<int> subject_row;
  void clear() {
    h1.clear();
    h2.clear();
    row_first.assign(1, 0);
    subject_row.clear();
  }
};

// Hardy-Weinberg multiplicity of an unordered pair.
inline double pair_factor(int h1, int h2) { return h1 == h2 ? 1.0 : 2.0; }

// The study side of the EM, laid out once per estimation. Only the order of the
// additions into one haplotype's count matters to the result: a subject adds half
// of each pair's weight to each of the pair's two haplotypes, subject after
// subject, pair after pair. Each haplotype's additions form a chain of pair
// slots in that order. The chains are dealt to kLanes lanes, longest first to the
// least loaded lane, and stored interleaved step by step, so that the lanes
// advance together with their additions overlapping; a lane that has finished
// adds zero (a no-op on a count that is never -0) until the others finish.
//
// The weights are computed once per distinct row per iteration, each row's sum
// adding its terms in pair order. The rows' slots are stored by their number of
// pairs, so that the row loops of one such class run alike.
constexpr std::size_t kLanes = 4;

struct ChainEnd {
  std::size_t step;  // the chain's last addition is at step - 1
  std::size_t lane;
  int h;
};

struct RowClass {
  int pairs;  // pairs of each row of the class
  int rows;   // rows of the class
  int base;   // first slot
};

// One addition: half the weight of a slot to the count of haplotype h.
struct Entry {
  std::uint32_t h = 0, slot = 0;
};
constexpr std::size_t kShort = 8;

struct StudyChains {
  std::size_t subjects = 0;               // subjects taking part
  std::vector<RowClass> classes;
  std::vector<int> row_slot;              // per row: the slot of its first pair, the others following
  std::vector<int> h1, h2;                // per slot: its codes
  std::vector<double> factor;             // per slot: its Hardy-Weinberg multiplicity
  std::vector<double> term, total;        // per slot: c f f and its row's sum
  std::vector<double> half;               // per slot: half its weight; then one zero
  std::vector<std::uint32_t> stream;      // step t, lane l: stream[t * kLanes + l]
  std::vector<ChainEnd> ends;             // in order of step
  // Scratch of the layout.
  std::vector<int> class_at, sizes, next, entry_first;
  std::vector<Entry> entries, flat;
  std::vector<int> order;
  std::vector<std::size_t> members, count, lane, begin;
  std::vector<std::uint32_t*> at;
};

void lay_out(const StudyRows& sr, int K_, StudyChains& sc) {
  const std::size_t K = static_cast<std::size_t>(K_);
  const std::size_t R = sr.row_first.size() - 1;
  const std::size_t nslots = sr.h1.size();
  auto size_of = [&sr](std::size_t r) { return static_cast<std::size_t>(sr.row_first[r + 1] - sr.row_first[r]); };
  sc.subjects = sr.subject_row.size();

  std::vector<std::size_t>& members = sc.members;
  members.assign(R, 0);
  for (int r : sr.subject_row) members[static_cast<std::size_t>(r)]++;

  // Classes of rows by their number of pairs, smallest first, and each row's
  // slots: the rows of a class one after another in row order.
  std::vector<int>& class_at = sc.class_at;  // class by number of pairs; -1 when no row has it
  std::vector<int>& sizes = sc.sizes;
  sizes.clear();
  for (std::size_t r = 0; r < R; r++) {
    const std::size_t L = size_of(r);
    if (L >= class_at.size()) class_at.resize(L + 1, -1);
    if (class_at[L] < 0) {
      class_at[L] = 0;
      sizes.push_back(static_cast<int>(L));
    }
  }
  std::sort(sizes.begin(), sizes.end());
  sc.classes.clear();
  for (int L : sizes) {
    class_at[static_cast<std::size_t>(L)] = static_cast<int>(sc.classes.size());
    sc.classes.push_back({L, 0, 0});
  }
  for (std::size_t r = 0; r < R; r++) sc.classes[static_cast<std::size_t>(class_at[size_of(r)])].rows++;
  std::vector<int>& next = sc.next;
  next.resize(sc.classes.size());
  for (std::size_t c = 0, base = 0; c < sc.classes.size(); c++) {
    sc.classes[c].base = static_cast<int>(base);
    next[c] = static_cast<int>(base);
    base += static_cast<std::size_t>(sc.classes[c].pairs) * static_cast<std::size_t>(sc.classes[c].rows);
  }
  sc.row_slot.resize(R);
  for (std::size_t r = 0; r < R; r++) {
    int& slot = next[static_cast<std::size_t>(class_at[size_of(r)])];
    sc.row_slot[r] = slot;
    slot += static_cast<int>(size_of(r));
  }
  for (int L : sizes) class_at[static_cast<std::size_t>(L)] = -1;
  sc.h1.resize(nslots);
  sc.h2.resize(nslots);
  sc.factor.resize(nslots);
  sc.term.resize(nslots);
  sc.total.resize(nslots);
  sc.half.assign(nslots + 1, 0.0);

  // Each row's additions as (haplotype, slot), in the order a subject makes them,
  // and the chain lengths, row by row: each entry once per subject of the row.
  std::vector<std::size_t>& count = sc.count;
  count.assign(K, 0);
  sc.entry_first.resize(R + 1);
  sc.entries.resize(2 * nslots + kShort);  // and room for a block copy of the last row
  std::size_t e = 0;
  for (std::size_t r = 0; r < R; r++) {
    sc.entry_first[r] = static_cast<int>(e);
    std::size_t slot = static_cast<std::size_t>(sc.row_slot[r]);
    for (int p = sr.row_first[r]; p < sr.row_first[r + 1]; p++, slot++) {
      const int a = sr.h1[static_cast<std::size_t>(p)], b = sr.h2[static_cast<std::size_t>(p)];
      sc.h1[slot] = a;
      sc.h2[slot] = b;
      sc.factor[slot] = pair_factor(a, b);
      sc.entries[e++] = {static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(slot)};
      sc.entries[e++] = {static_cast<std::uint32_t>(b), static_cast<std::uint32_t>(slot)};
      count[static_cast<std::size_t>(a)] += members[r];
      count[static_cast<std::size_t>(b)] += members[r];
    }
  }
  sc.entry_first[R] = static_cast<int>(e);

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
  sc.stream.assign(steps * kLanes, static_cast<std::uint32_t>(nslots));  // the zero after the halves

  // The additions, subject after subject, each to the next free step of its
  // chain. First every subject's additions one after another: a row of at most
  // kShort additions is copied as a block of kShort, reaching into the rows after
  // it (the surplus is overwritten by the next subject), so that few copies branch
  // on the row's size. Then each addition to its chain.
  const int* first = sc.entry_first.data();
  std::size_t additions = 0;
  for (std::size_t r = 0; r < R; r++) additions += members[r] * static_cast<std::size_t>(first[r + 1] - first[r]);
  sc.flat.resize(additions + kShort);
  Entry* out = sc.flat.data();
  for (int r : sr.subject_row) {
    const std::size_t n = static_cast<std::size_t>(first[r + 1] - first[r]);
    std::memcpy(out, sc.entries.data() + first[r], (n <= kShort ? kShort : n) * sizeof(Entry));
    out += n;
  }
  std::vector<std::uint32_t*>& at = sc.at;
  at.resize(K);
  for (std::size_t h = 0; h < K; h++) at[h] = sc.stream.data() + begin[h] * kLanes + lane[h];
  for (const Entry* x = sc.flat.data(); x != out; x++) {
    std::uint32_t*& c = at[x->h];
    *c = x->slot;
    c += kLanes;
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

// term[s] = factor[s] f[h1[s]] f[h2[s]], for s < n.
void products(const int* __restrict h1, const int* __restrict h2, const double* __restrict factor, const double* __restrict f,
              double* __restrict term, std::size_t n) {
  for (std::size_t s = 0; s < n; s++) term[s] = factor[s] * f[h1[s]] * f[h2[s]];
}

// E-step of the study: each distinct row's pair weights under f, kept halved.
// The rows of a class are summed four at a time, side by side.
void weigh_rows(StudyChains& sc, const double* f) {
  const std::size_t nslots = sc.term.size();
  const int* h1 = sc.h1.data();
  const int* h2 = sc.h2.data();
  double* term = sc.term.data();
  products(h1, h2, sc.factor.data(), f, term, nslots);
  auto proper = [](double P) { return P == 0.0 ? 1.0 : P; };
  for (const RowClass& c : sc.classes) {
    const std::size_t L = static_cast<std::size_t>(c.pairs);
    const double* t = term + c.base;
    double* total = sc.total.data() + c.base;
    int j = 0;
    for (; j + 4 <= c.rows; j += 4, t += 4 * L, total += 4 * L) {
      double P0 = 0.0, P1 = 0.0, P2 = 0.0, P3 = 0.0;
      for (std::size_t k = 0; k < L; k++) {
        P0 += t[k];
        P1 += t[L + k];
        P2 += t[2 * L + k];
        P3 += t[3 * L + k];
      }
      P0 = proper(P0), P1 = proper(P1), P2 = proper(P2), P3 = proper(P3);
      for (std::size_t k = 0; k < L; k++) {
        total[k] = P0;
        total[L + k] = P1;
        total[2 * L + k] = P2;
        total[3 * L + k] = P3;
      }
    }
    for (; j < c.rows; j++, t += L, total += L) {
      double P = 0.0;
      for (std::size_t k = 0; k < L; k++) P += t[k];
      P = proper(P);
      for (std::size_t k = 0; k < L; k++) total[k] = P;
    }
  }
  halve_quotients(term, sc.total.data(), sc.half.data(), nslots);
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

// The EM itself, over the study rows (when given) and the panel's families (when
// given). Returns the number of iterations run.
int estimate(double* f, int K, const StudyRows* study, PanelList* panel, StudyChains& sc) {
  std::vector<double> d(static_cast<std::size_t>(K), 1.0);
  std::vector<double> fnew(static_cast<std::size_t>(K));
  int iter = 0;
  if (study) lay_out(*study, K, sc);

  while (length(d.data(), K) >= kEmTolerance && iter < kEmMaxIterations) {
    fnew.assign(fnew.size(), 0.0);
    int Ns = 0, Nt = 0, Nd = 0, Nu = 0;

    // Study subjects: posterior of each compatible pair (once per distinct row of
    // pairs), then its expected haplotype counts, half the weight to each haplotype.
    if (study) {
      weigh_rows(sc, f);
      add_chains(sc, fnew.data());
      Ns = static_cast<int>(sc.subjects);
    }

    // Panel families: a trio carries four founder haplotypes, a duo three, a
    // singleton two.
    if (panel) {
      for (const FamilyNode& fam : panel->families) {
        const int nh = fam.type == kTrio ? 4 : fam.type == kDuo ? 3 : 2;
        if (fam.type == kTrio)
          Nt++;
        else if (fam.type == kDuo)
          Nd++;
        else
          Nu++;
        FamilyEntry* entries = panel->entries.data();
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
  return iter;
}

// The subjects of w.list taking part, each as a row of its own. first receives
// the list position of each row's first pair.
void rows_of_list(const Window& w, int s1, int s2, const int* STATUS, StudyRows& sr, std::vector<int>& first) {
  sr.clear();
  first.clear();
  for (const SubjectNode& s : w.list.subjects) {
    if (w.design == kCaseControl && STATUS[s.idx] != s1 && STATUS[s.idx] != s2) continue;
    sr.subject_row.push_back(static_cast<int>(first.size()));
    first.push_back(s.first);
    for (int p = s.first; p < s.last; p++) {
      const PairNode& pr = w.list.pairs[static_cast<std::size_t>(p)];
      sr.h1.push_back(pr.h1);
      sr.h2.push_back(pr.h2);
    }
    sr.row_first.push_back(static_cast<int>(sr.h1.size()));
  }
}

thread_local StudyChains chains;

}  // namespace

int A1(Window& w, double* f, int s1, int s2, int study_switch, int panel_switch, const int* STATUS) {
  thread_local StudyRows rows;
  thread_local std::vector<int> first;
  if (study_switch == 1) rows_of_list(w, s1, s2, STATUS, rows, first);
  const int iter = estimate(f, w.K, study_switch == 1 ? &rows : nullptr, panel_switch == 1 ? &w.list_ex : nullptr, chains);
  // Each listed pair keeps its posterior of the last E-step.
  if (study_switch == 1 && iter > 0)
    for (std::size_t r = 0; r + 1 < rows.row_first.size(); r++) {
      int slot = chains.row_slot[r];
      for (int p = first[r], e = first[r] + rows.row_first[r + 1] - rows.row_first[r]; p < e; p++, slot++)
        w.list.pairs[static_cast<std::size_t>(p)].w = chains.term[static_cast<std::size_t>(slot)] / chains.total[static_cast<std::size_t>(slot)];
    }
  return iter < kEmMaxIterations ? 1 : 0;
}

int A1_counts(const CountedRows& rows, double* f, int K) {
  thread_local std::vector<double> d, fnew, factor, term;
  const std::size_t R = rows.count.size(), L = rows.h1.size();
  d.assign(static_cast<std::size_t>(K), 1.0);
  fnew.resize(static_cast<std::size_t>(K));
  factor.resize(L);
  term.resize(L);
  const int* h1 = rows.h1.data();
  const int* h2 = rows.h2.data();
  for (std::size_t p = 0; p < L; p++) factor[p] = pair_factor(h1[p], h2[p]);
  const double* c = factor.data();
  double* t = term.data();
  double* x = fnew.data();
  long subjects = 0;
  for (int n : rows.count) subjects += n;
  const double total = static_cast<double>(subjects);
  int iter = 0;
  while (length(d.data(), K) >= kEmTolerance && iter < kEmMaxIterations) {
    std::fill(fnew.begin(), fnew.end(), 0.0);
    for (std::size_t p = 0; p < L; p++) t[p] = c[p] * f[h1[p]] * f[h2[p]];
    for (std::size_t r = 0; r < R; r++) {
      const int from = rows.row_first[r], to = rows.row_first[r + 1];
      double P = 0.0;
      for (int p = from; p < to; p++) P += t[p];
      if (P == 0.0) P = 1.0;
      // Half the row's count of subjects, shared out by the pairs' posteriors.
      const double share = rows.count[r] / P / 2.0;
      for (int p = from; p < to; p++) {
        const double e = t[p] * share;
        x[h1[p]] += e;
        x[h2[p]] += e;
      }
    }
    for (int h = 0; h < K; h++) {
      const double next = x[h] / total;
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
