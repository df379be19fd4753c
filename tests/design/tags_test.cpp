// Tag choice: the information measure worked by hand, the insertion of the target
// allele into a background code, and the candidate search on small hand-made maps.
#include <gtest/gtest.h>

#include <cmath>

#include "core/haplist.h"
#include "design/tags.h"
#include "support/literal_em.h"

namespace {

// A map of SNPs at the given positions, all typed in the study and present in the
// panel and the phased haplotypes, except those listed as untyped (panel only).
struct TinyRun {
  RunSettings settings;
  Model model;
  StudyData study;
  PanelData panel;
  SnpMap map;

  TinyRun(const std::vector<int>& positions, const std::vector<int>& untyped = {}) {
    settings.ne = 0;
    map.clear();
    int s = 0;
    for (std::size_t e = 0; e < positions.size(); e++) {
      MapEntry m;
      m.pos = positions[e];
      bool typed = std::find(untyped.begin(), untyped.end(), static_cast<int>(e)) == untyped.end();
      m.study = typed ? s++ : -1;
      m.panel = static_cast<int>(e);
      m.hap = static_cast<int>(e);
      map.push(m);
    }
    map.close();
    study.n = 0;
    study.nsnp = s;
    // Two phased haplotypes: every SNP carries allele 1 on the first, 0 on the second,
    // so any set is in perfect linkage disequilibrium with the target.
    panel.nhap = 2;
    panel.nhap_snp = static_cast<int>(positions.size());
    for (std::size_t e = 0; e < positions.size(); e++) {
      panel.hap.push_back(1);
      panel.hap.push_back(0);
    }
  }
  TagContext context() const { return TagContext{settings, model, study, panel, map}; }
};

}  // namespace

TEST(TagMeasure, WorkedByHand) {
  // Two SNPs; codes a*2 + c with a the target allele and c the background.
  // Partial linkage: a = (0.1, 0.4), b = (0.4, 0.1), r = (0.5, 0.5), f = 0.5:
  // S1 = 0.01 + 0.16 = 0.17; S2 = (2*0.04 + 0.01 + 0.16)^2 / 0.5 = 0.125;
  // (0.17 + 0.125 - 0.25) / (0.25 / 2) = 0.36. A monomorphic target scores 0.
  const struct {
    double f[4], md;
  } cases[] = {{{0.6, 0.0, 0.0, 0.4}, 1.0},
               {{0.3, 0.3, 0.2, 0.2}, 0.0},
               {{0.4, 0.1, 0.1, 0.4}, 0.36},
               {{0.5, 0.5, 0.0, 0.0}, 0.0},
               {{0.0, 0.0, 0.7, 0.3}, 0.0}};
  for (const auto& c : cases) EXPECT_NEAR(MDfun(c.f, 1, 2), c.md, 1e-12) << c.f[0] << " " << c.f[1];
}

TEST(TagMeasure, TargetAlleleIsInsertedAtItsPosition) {
  EXPECT_EQ(for_w(0b1011, 0, 3, 5), 0b10011);
  EXPECT_EQ(for_w(0b1011, 1, 3, 5), 0b10111);
  EXPECT_EQ(for_w(0b1011, 1, 1, 5), 0b11011);
  EXPECT_EQ(for_w(0b1011, 0, 5, 5), 0b10110);
  EXPECT_EQ(for_w(0, 1, 1, 1), 1);
}

TEST(TagSearch, FewerCandidatesThanTagsScoresNothing) {
  TinyRun run({1000, 2000, 3000, 4000});
  TagWorkspace ws;
  TagChoice best;
  getMD_max(best, 0, 1, run.context(), ws);
  EXPECT_EQ(best.md, 0.0);
  EXPECT_EQ(best.set, std::vector<int>{0});
}

TEST(TagSearch, PerfectSetStopsTheSearchAndTiesGoLeft) {
  // Target at 10000; neighbours at equal distances: the left ones come first.
  TinyRun run({6000, 8000, 10000, 12000, 14000, 30000});
  TagWorkspace ws;
  TagChoice best;
  getMD_max(best, 2, 1, run.context(), ws);
  EXPECT_NEAR(best.md, 1.0, 1e-9);
  // Candidates are 0, 1, 3, 4, 5 in map order; the first set scores 1 and ends the search.
  EXPECT_EQ(best.set, (std::vector<int>{2, 0, 1, 3, 4}));
}

TEST(TagSearch, WindowLimitsCandidatesOnceTheMinimumIsTaken) {
  std::vector<int> pos;
  for (int k = 0; k < 12; k++) pos.push_back(100000 + 10000 * k);
  TinyRun run(pos);
  run.settings.window = 25000;
  run.settings.minnum = 4;
  run.settings.maxnum = 20;
  TagWorkspace ws;
  TagChoice best;
  // Target at index 6 (160000): within 25 kb are 4, 5, 7, 8; the 4 taken then stop the search.
  getMD_max(best, 6, 1, run.context(), ws);
  EXPECT_EQ(best.set, (std::vector<int>{6, 4, 5, 7, 8}));
  EXPECT_EQ(ws.candidates, (std::vector<int>{4, 5, 7, 8}));
  // With a minimum of 6 the two nearest beyond the window are taken too (left first on ties).
  run.settings.minnum = 6;
  getMD_max(best, 6, 1, run.context(), ws);
  EXPECT_EQ(ws.candidates, (std::vector<int>{3, 4, 5, 7, 8, 9}));
}

TEST(TagSearch, UntypedTargetsTakeOnlySnpsTypedInTheStudyAndInThePanel) {
  TinyRun run({1000, 2000, 3000, 4000, 5000, 6000, 7000}, {3, 5});
  TagWorkspace ws;
  TagChoice best;
  getMD_max(best, 3, 0, run.context(), ws);
  EXPECT_EQ(ws.candidates, (std::vector<int>{0, 1, 2, 4, 6}));
  EXPECT_EQ(best.set, (std::vector<int>{3, 0, 1, 2, 4}));
}

namespace {

// The measure of one set the long way: one study list entry per subject and the
// frequency estimation over all of them, subject after subject.
double measure_subject_by_subject(const StudyData& study, const std::vector<int>& set, int design) {
  const int M = static_cast<int>(set.size()), n = study.n;
  Mat<int> geno = imatrix(0, n - 1, 0, M - 1);
  for (int i = 0; i < n; i++)
    for (int j = 0; j < M; j++) geno[i][j] = study.genotypes(set[static_cast<std::size_t>(j)])[i];
  Window w;
  w.set_size(M);
  w.design = design;
  makelist(w.list, geno, n, M);
  std::vector<double> f(std::size_t{1} << M, 1.0 / (1 << M));
  literal_em(w.list, f, design == kCaseControl ? study.STATUS : std::vector<int>{});
  double total = 0.0;
  for (double v : f) total += v;
  for (double& v : f) v /= total;
  return MDfun(f.data(), 1, M);
}

// Eight typed SNPs 1 kb apart; subject i's codes from draw(i, j).
template <class Draw>
TinyRun study_of(int n, Draw draw) {
  TinyRun run({1000, 2000, 3000, 4000, 5000, 6000, 7000, 8000});
  run.settings.ne = 1;
  StudyData& sd = run.study;
  sd.n = n;
  sd.nsnp = 8;
  sd.geno.assign(static_cast<std::size_t>(8 * n), 0);
  sd.STATUS.assign(static_cast<std::size_t>(n), 0);
  for (int i = 0; i < n; i++) {
    sd.STATUS[static_cast<std::size_t>(i)] = i % 3 == 0 ? 1 : i % 17 == 0 ? 7 : 0;  // some neither case nor control
    for (int j = 0; j < 8; j++) sd.geno[static_cast<std::size_t>(j * n + i)] = static_cast<std::uint8_t>(draw(i, j));
  }
  return run;
}

}  // namespace

// The search weighs each distinct genotype row once, times its count. Its scores
// then differ from the subject-by-subject estimate's only by rounding, and it
// chooses the same tags: whether rows repeat a lot or not at all, and when
// candidates repeat others (ties) or nearly so (one or two calls apart), for the
// case-control and the general call.
TEST(TagSearch, CountedRowsChooseTheTagsOfTheSubjectBySubjectMeasure) {
  unsigned state = 12345;
  auto next = [&state] {
    state = state * 1103515245u + 12345u;
    return (state >> 16) & 0x7fff;
  };
  // Many repeats: two founder haplotypes, rare missing codes; SNP 5 repeats
  // SNP 1 but for one call, 6 repeats 2, 7 repeats 3 but for two calls.
  std::vector<int> h1, h2;
  for (int i = 0; i < 3000; i++) {
    h1.push_back(static_cast<int>(next() % 3));
    h2.push_back(static_cast<int>(next() % 160));
  }
  auto founders = [&](int i, int j) {
    if (j >= 5) j -= 4;
    if (h2[static_cast<std::size_t>(i)] == j) return 9;
    const int a = h1[static_cast<std::size_t>(i)] == 0 ? 0 : 1, b = h1[static_cast<std::size_t>(i)] == 2 ? 1 : 0;
    return (j % 2 == 0 ? a + b : 2 - a - b);
  };
  TinyRun repeated = study_of(3000, [&](int i, int j) {
    if ((j == 5 && i == 10) || (j == 7 && (i == 20 || i == 21))) return 9;
    return founders(i, j);
  });
  // No repeats: subject i's codes over SNPs 0-4 are the base-4 digits of i (3
  // standing for missing); SNPs 5-7 repeat 1-3 but for a call or two.
  TinyRun distinct = study_of(1024, [](int i, int j) {
    const int k = j >= 5 ? j - 4 : j;
    if ((j == 5 && i == 5) || (j == 7 && (i == 40 || i == 41))) return 1;
    const int digit = (i >> (2 * (4 - k))) & 3;
    return digit == 3 ? 9 : digit;
  });
  for (TinyRun* run : {&repeated, &distinct})
    for (int design : {kCaseControl, kCohort}) {
      run->model.design = design;
      TagWorkspace ws;
      EXPECT_NEAR(getMD({0, 1, 2, 3, 4}, 1, run->context(), ws), measure_subject_by_subject(run->study, {0, 1, 2, 3, 4}, design), 1e-12);
      // The search over the 35 sets of four of the seven candidates, and the same
      // search by the subject-by-subject measure.
      TagChoice best;
      getMD_max(best, 0, 1, run->context(), ws);
      std::vector<int> expected{0};
      double B = 0.0;
      for (int a = 1; a <= 7 && B < kMdGoodEnough; a++)
        for (int b = a + 1; b <= 7 && B < kMdGoodEnough; b++)
          for (int c = b + 1; c <= 7 && B < kMdGoodEnough; c++)
            for (int d = c + 1; d <= 7 && B < kMdGoodEnough; d++) {
              const double score = measure_subject_by_subject(run->study, {0, a, b, c, d}, design);
              if (score > B + kMdMargin) {
                B = score;
                expected = {0, a, b, c, d};
              }
            }
      EXPECT_EQ(best.set, expected) << run->study.n << " " << design;
      EXPECT_NEAR(best.md, B, 1e-12);
      // Again from the groups kept for the last set's first four SNPs.
      EXPECT_EQ(getMD(best.set, 1, run->context(), ws), best.md);
    }
}
