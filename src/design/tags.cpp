#include "design/tags.h"

#include <algorithm>
#include <cstdint>
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
  if (rs.ne == 0 && m.hap < 0) return false;
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


// The pairs of a row key (listed once per run, when first met) join the set's
// rows, with the row's count.
void join_row(int key, int count, int M, TagWorkspace& ws, CountedRows& rows) {
  const std::size_t k = static_cast<std::size_t>(key);
  if (ws.key_first[k] < 0) {
    ws.row_codes.resize(static_cast<std::size_t>(M));
    for (int j = M - 1, rest = key; j >= 0; j--, rest /= 4) ws.row_codes[static_cast<std::size_t>(j)] = rest % 4 == 3 ? 9 : rest % 4;
    const std::size_t first = ws.key_pairs.size();
    row_pairs(ws.key_pairs, ws.row_codes.data(), M);
    ws.key_first[k] = static_cast<int>(first);
    ws.key_count[k] = static_cast<int>(ws.key_pairs.size() - first);
  }
  const auto from = ws.key_pairs.begin() + ws.key_first[k];
  for (auto p = from; p != from + ws.key_count[k]; ++p) {
    rows.h1.push_back(p->h1);
    rows.h2.push_back(p->h2);
  }
  rows.row_first.push_back(static_cast<int>(rows.h1.size()));
  rows.count.push_back(count);
}

// The study rows of a set: the distinct genotype rows over the set of the
// subjects taking part (cases and controls for the case-control design, every
// subject otherwise), each with its number of subjects. A row is keyed by its
// codes (0, 1, 2, missing as 3) as base-4 digits. The subjects are grouped by
// their keys over all SNPs but the last once per such prefix, which the search's
// order keeps for many sets in a row; a set then only counts its groups' subjects
// by their code at the last SNP.
void study_rows(const std::vector<int>& set, const TagContext& ctx, TagWorkspace& ws, CountedRows& rows) {
  const StudyData& sd = ctx.study;
  const int M = static_cast<int>(set.size());
  auto code = [](std::uint8_t g) { return g <= 2 ? static_cast<int>(g) : 3; };
  if (ws.prefix_study != &sd) {
    ws.prefix_study = &sd;
    ws.prefix_group.clear();  // groups of a new study's subjects are made below
    ws.taking.clear();
    for (int i = 0; i < sd.n; i++)
      if (ctx.model.design != kCaseControl || sd.STATUS[static_cast<std::size_t>(i)] == 0 || sd.STATUS[static_cast<std::size_t>(i)] == 1)
        ws.taking.push_back(i);
  }
  const std::size_t nt = ws.taking.size();
  if (ws.prefix_group.size() != nt || ws.prefix_set.size() != set.size() - 1 || !std::equal(ws.prefix_set.begin(), ws.prefix_set.end(), set.begin())) {
    ws.prefix_set.assign(set.begin(), set.end() - 1);
    std::vector<int>& key = ws.keys;
    key.assign(nt, 0);
    for (int j = 0; j + 1 < M; j++) {
      const std::uint8_t* g = sd.genotypes(ctx.map[set[static_cast<std::size_t>(j)]].study);
      for (std::size_t t = 0; t < nt; t++) key[t] = 4 * key[t] + code(g[ws.taking[t]]);
    }
    const std::size_t prefixes = std::size_t{1} << (2 * (M - 1));
    if (ws.group_of_key.size() != prefixes) ws.group_of_key.assign(prefixes, -1);
    ws.group_key.clear();
    ws.prefix_group.resize(nt);
    for (std::size_t t = 0; t < nt; t++) {
      int& g = ws.group_of_key[static_cast<std::size_t>(key[t])];
      if (g < 0) {
        g = static_cast<int>(ws.group_key.size());
        ws.group_key.push_back(key[t]);
      }
      ws.prefix_group[t] = g;
    }
    for (int k : ws.group_key) ws.group_of_key[static_cast<std::size_t>(k)] = -1;
  }
  const std::size_t keys = std::size_t{1} << (2 * M);
  if (ws.key_first.size() != keys) {
    // Pairs of every possible row, listed when first needed.
    ws.key_first.assign(keys, -1);
    ws.key_count.assign(keys, 0);
    ws.key_pairs.clear();
  }
  const std::uint8_t* last = sd.genotypes(ctx.map[set.back()].study);
  ws.group_count.assign(4 * ws.group_key.size(), 0);
  int* count = ws.group_count.data();
  const int* group = ws.prefix_group.data();
  const int* taking = ws.taking.data();
  for (std::size_t t = 0; t < nt; t++) count[4 * group[t] + code(last[taking[t]])]++;
  rows.clear();
  for (std::size_t g = 0; g < ws.group_key.size(); g++)
    for (int c = 0; c < 4; c++)
      if (count[4 * g + static_cast<std::size_t>(c)] > 0) join_row(4 * ws.group_key[g] + c, count[4 * g + static_cast<std::size_t>(c)], M, ws, rows);
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
  bool phased = rs.ne == 0;
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
      study_rows(set, ctx, ws, ws.rows);
      A1_counts(ws.rows, f, K);
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
