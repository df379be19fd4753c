#include "design/tags.h"

#include <limits>

#include "core/freq.h"
#include "core/haplist.h"

namespace {

bool usable(const TagContext& ctx, int e, int s, int typed) {
  if (e == s) return false;
  const MapEntry& m = ctx.map[e];
  if (m.study < 0) return false;
  if (!typed && m.panel < 0) return false;
  const RunSettings& rs = ctx.settings;
  if (rs.ne == 0 && rs.h && rs.speed && m.hap < 0) return false;
  return true;
}

// Collects the candidates outward from s, the nearer side first (ties to the
// left), within the window distance once minnum candidates are taken.
void collect_candidates(const TagContext& ctx, int s, int typed, std::vector<int>& out) {
  const RunSettings& rs = ctx.settings;
  const long far = std::numeric_limits<long>::max();
  const int len = ctx.map.len();
  int left = s - 1, right = s + 1;
  while (left >= 0 && !usable(ctx, left, s, typed)) left--;
  while (right < len && !usable(ctx, right, s, typed)) right++;
  int leftmost = s, rightmost = s, taken = 0;
  const long ps = ctx.map[s].pos;
  for (int round = 0; round < rs.maxnum; round++) {
    long dr = right < len ? ctx.map[right].pos - ps : far;
    long dl = left >= 0 ? ps - ctx.map[left].pos : far;
    if (dr < dl) {
      if (dr > rs.window && taken >= rs.minnum) break;
      rightmost = right++;
      while (right < len && !usable(ctx, right, s, typed)) right++;
    } else {
      if (dl == far) break;  // no usable SNP left on either side
      if (dl > rs.window && taken >= rs.minnum) break;
      leftmost = left--;
      while (left >= 0 && !usable(ctx, left, s, typed)) left--;
    }
    taken++;
  }
  out.clear();
  for (int e = leftmost; e <= rightmost; e++)
    if (usable(ctx, e, s, typed)) out.push_back(e);
}


// Haplotype frequencies of the set's SNPs from the study by EM, with subjects of
// identical genotypes taken together: one pair list per distinct genotype row,
// weighted by how many subjects share it. The estimate is the study EM's (the
// same E-step, M-step and stopping rule; only the order of summation differs), at
// a fraction of the cost, which matters because every candidate set is scored.
void study_frequencies(const std::vector<int>& set, const TagContext& ctx, TagWorkspace& ws, double* f) {
  const StudyData& sd = ctx.study;
  const int M = static_cast<int>(set.size());
  const int K = 1 << M;
  Window& w = ws.w;
  // Genotype codes 0, 1, 2 and missing as base-4 digits of a row key.
  std::vector<int>& group_of_key = ws.group_of_key;
  group_of_key.assign(static_cast<std::size_t>(1) << (2 * M), -1);
  std::vector<int>& key = ws.keys;
  key.assign(static_cast<std::size_t>(sd.n), 0);
  for (int j = 0; j < M; j++) {
    const std::uint8_t* g = sd.genotypes(ctx.map[set[j]].study);
    for (int i = 0; i < sd.n; i++) key[i] = 4 * key[i] + (g[i] <= 2 ? g[i] : 3);
  }
  std::vector<double>& mult = ws.mult;
  mult.clear();
  int rows = 0;
  double taking_part = 0.0;
  for (int i = 0; i < sd.n; i++) {
    // Cases and controls alike for the case-control design; every subject otherwise.
    if (ctx.model.design == kCaseControl && sd.STATUS[i] != 0 && sd.STATUS[i] != 1) continue;
    taking_part += 1.0;
    int& g = group_of_key[static_cast<std::size_t>(key[i])];
    if (g < 0) {
      g = rows++;
      mult.push_back(0.0);
    }
    mult[g] += 1.0;
  }
  if (ws.geno.rows() != rows || ws.geno.cols() != M) ws.geno = imatrix(0, rows - 1, 0, M - 1);
  for (std::size_t k = 0; k < group_of_key.size(); k++) {
    const int g = group_of_key[k];
    if (g < 0) continue;
    for (int j = M - 1, rest = static_cast<int>(k); j >= 0; j--, rest /= 4) ws.geno[g][j] = rest % 4 == 3 ? 9 : rest % 4;
  }
  makelist(w.list, ws.geno, rows, M);

  std::vector<double> d(static_cast<std::size_t>(K), 1.0), fnew(static_cast<std::size_t>(K));
  for (int iter = 0; length(d.data(), K) >= kEmTolerance && iter < kEmMaxIterations; iter++) {
    std::fill(fnew.begin(), fnew.end(), 0.0);
    for (const SubjectNode& sn : w.list.subjects) {
      double P = 0.0;
      for (int p = sn.first; p < sn.last; p++) {
        PairNode& pr = w.list.pairs[p];
        pr.w = (pr.h1 == pr.h2 ? 1.0 : 2.0) * f[pr.h1] * f[pr.h2];
        P += pr.w;
      }
      if (P == 0.0) P = 1.0;
      const double count = mult[sn.idx];
      for (int p = sn.first; p < sn.last; p++) {
        PairNode& pr = w.list.pairs[p];
        pr.w = pr.w / P;
        fnew[pr.h1] += count * pr.w / 2.0;
        fnew[pr.h2] += count * pr.w / 2.0;
      }
    }
    for (int h = 0; h < K; h++) {
      const double next = fnew[h] / taking_part;
      d[h] = next - f[h];
      f[h] = next;
    }
  }
}

}  // namespace

int for_w(int c, int a, int t, int M) {
  // Digits of c above position t stay above, those at and below it move down one.
  int low_digits = M - t;  // digits of c that follow position t
  int high = c >> low_digits, low = c & ((1 << low_digits) - 1);
  return (high << (low_digits + 1)) | (a << low_digits) | low;
}

double MDfun(const double* p, int t, int M) {
  const int W = (1 << M) / 2;
  double f = 0.0, S1 = 0.0, S2 = 0.0;
  for (int c = 0; c < W; c++) {
    double a = p[for_w(c, 1, t, M)];
    f += a;
    S1 += a * a;
  }
  for (int c = 0; c < W; c++) {
    double ac = p[for_w(c, 1, t, M)], bc = p[for_w(c, 0, t, M)], rc = ac + bc;
    for (int d = c + 1; d < W; d++) {
      double ad = p[for_w(d, 1, t, M)], bd = p[for_w(d, 0, t, M)], rd = ad + bd;
      if (rc * rd != 0.0) {
        double x = 2.0 * ac * ad + ac * bd + bc * ad;
        S2 += x * x / (2.0 * rc * rd);
      }
    }
  }
  if (f > 1.0 - kMdMonomorphic || f < kMdMonomorphic) return 0.0;
  return (S1 + S2 - f * f) / (f * (1.0 - f) / 2.0);
}

double getMD(const std::vector<int>& set, int typed, const TagContext& ctx, TagWorkspace& ws) {
  const int M = static_cast<int>(set.size());
  const int K = 1 << M;
  ws.freq.assign(static_cast<std::size_t>(K), 1.0 / K);
  double* f = ws.freq.data();
  const RunSettings& rs = ctx.settings;
  bool phased = rs.ne == 0 && rs.h;
  for (int e : set) phased = phased && ctx.map[e].hap >= 0;
  if (phased) {
    const PanelData& pd = ctx.panel;
    for (int k = 0; k < K; k++) f[k] = 0.0;
    // Codes of all phased haplotypes, built SNP by SNP over contiguous rows.
    std::vector<int>& code = ws.codes;
    code.assign(static_cast<std::size_t>(pd.nhap), 0);
    for (int j = 0; j < M; j++) {
      const std::uint8_t* row = pd.haplotypes(ctx.map[set[j]].hap);
      for (int c = 0; c < pd.nhap; c++) code[c] = 2 * code[c] + (row[c] == 1 ? 1 : 0);
    }
    for (int c = 0; c < pd.nhap; c++) f[code[c]] += 1.0 / pd.nhap;
  } else {
    Window& w = ws.w;
    w.set_size(M);
    w.design = ctx.model.design;
    w.list.clear();
    w.list_ex.clear();
    if (!typed) {
      const PanelData& pd = ctx.panel;
      if (ws.geno.rows() != pd.ncol || ws.geno.cols() != M) ws.geno = imatrix(0, pd.ncol - 1, 0, M - 1);
      for (int j = 0; j < M; j++) {
        const std::uint8_t* g = pd.genotypes(ctx.map[set[j]].panel);
        for (int i = 0; i < pd.ncol; i++) ws.geno[i][j] = g[i];
      }
      makelist_ex(w.list_ex, ws.geno, ctx.model.nTR, ctx.model.nDU, ctx.model.nUN, M);
      A1(w, f, -1, -1, -1, 1, ctx.study.STATUS.data());
    } else {
      study_frequencies(set, ctx, ws, f);
    }
  }
  double total = 0.0;
  for (int k = 0; k < K; k++) total += f[k];
  for (int k = 0; k < K; k++) f[k] /= total;
  return MDfun(f, 1, M);
}

void getMD_max(TagChoice& best, int s, int typed, const TagContext& ctx, TagWorkspace& ws) {
  const int M = ctx.settings.M;
  const int tags = M - 1;
  collect_candidates(ctx, s, typed, ws.candidates);
  const int C = static_cast<int>(ws.candidates.size());
  best.set.assign(1, s);
  best.md = 0.0;
  if (C < tags) return;
  // Sets of `tags` candidates in lexicographic order of candidate positions, as
  // nested loops i < j < k < l would visit them.
  std::vector<int>& idx = ws.combination;
  idx.resize(static_cast<std::size_t>(tags));
  for (int t = 0; t < tags; t++) idx[static_cast<std::size_t>(t)] = t;
  ws.set.resize(static_cast<std::size_t>(M));
  ws.set[0] = s;
  double B = 0.0;
  while (B < kMdGoodEnough) {
    for (int t = 0; t < tags; t++) ws.set[static_cast<std::size_t>(t) + 1] = ws.candidates[static_cast<std::size_t>(idx[static_cast<std::size_t>(t)])];
    double score = getMD(ws.set, typed, ctx, ws);
    if (score > B + kMdMargin) {
      B = score;
      best.set = ws.set;
    }
    int t = tags - 1;
    while (t >= 0 && idx[static_cast<std::size_t>(t)] == C - tags + t) t--;
    if (t < 0) break;
    idx[static_cast<std::size_t>(t)]++;
    for (int u = t + 1; u < tags; u++) idx[static_cast<std::size_t>(u)] = idx[static_cast<std::size_t>(u) - 1] + 1;
  }
  best.md = B;
}
