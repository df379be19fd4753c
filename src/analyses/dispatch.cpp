#include "analyses/dispatch.h"

#include <cmath>
#include <vector>

#include "analyses/analyses.h"
#include "core/freq.h"
#include "core/haplist.h"
#include "core/info.h"
#include "design/readin.h"

namespace {

// Regression coefficients of the window's design: intercept (and error variance
// for a continuous trait) of the cross-sectional design, genetic terms, covariate
// terms and products, genetic-by-covariate products.
int count_q(const Window& w, const StudyData& study) {
  int q = 0;
  if (w.design == kCrossSectional) q = study.cs_bin ? 1 : 2;
  const int per_genetic = w.mode == kCodominant ? 2 : 1;
  for (int h = 0; h < w.pH; h++)
    if (w.H_H[h][h] > 0) q += per_genetic;
  for (int r = 0; r < w.pX; r++)
    for (int c = r; c < w.pX; c++)
      if (w.X_X[r][c] > 0) q += 1;
  for (int r = 0; r < w.pX; r++)
    for (int h = 0; h < w.pH; h++)
      if (w.X_H[r][h] > 0) q += per_genetic;
  return q;
}

}  // namespace

int prepare_window(Window& w, const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model, const StudyData& study,
                   WindowPrep& prep) {
  const int K = w.K;
  std::vector<double>& freq = prep.freq;
  std::vector<int>& rankmap = prep.rankmap;
  freq.assign(static_cast<std::size_t>(K), 1.0 / K);
  rankmap.assign(static_cast<std::size_t>(K), -1);
  w.hap_freq.assign(static_cast<std::size_t>(K), 0);
  w.hap_GOR.assign(static_cast<std::size_t>(K), 0);
  w.list.clear();
  w.list_ex.clear();

  makelist(w.list, geno, study.n, w.M);
  if (w.ext == 0) {
    A1(w, freq.data(), 0, 1, 1, -1, study.STATUS.data());
  } else {
    makelist_ex(w.list_ex, geno_ex, model.nTR, model.nDU, model.nUN, w.M);
    A1(w, freq.data(), -1, -1, -1, 1, study.STATUS.data());
    A1(w, freq.data(), 0, 1, 1, 1, study.STATUS.data());
  }
  for (double f : freq)
    if (std::isnan(f)) return fail(w, "A51_A61_A71", Check::kFrequencyNan);

  w.KK = 0;
  int G = -1;
  for (int code = 0; code < K; code++) {
    if (freq[static_cast<std::size_t>(code)] >= kRetainFrequency) {
      w.hap_freq[static_cast<std::size_t>(w.KK++)] = code;
      if (freq[static_cast<std::size_t>(code)] >= kDependenceCount / study.n) G++;
    }
  }
  if (w.KK == 0) return fail(w, "A51_A61_A71", Check::kNothingRetained);
  // Selection with swaps, most frequent first; a later haplotype takes the place
  // only when strictly more frequent.
  for (int i = 0; i < w.KK; i++) {
    int best = i;
    for (int j = i + 1; j < w.KK; j++)
      if (freq[static_cast<std::size_t>(w.hap_freq[static_cast<std::size_t>(j)])] >
          freq[static_cast<std::size_t>(w.hap_freq[static_cast<std::size_t>(best)])])
        best = j;
    std::swap(w.hap_freq[static_cast<std::size_t>(i)], w.hap_freq[static_cast<std::size_t>(best)]);
  }
  for (int i = 0; i < w.KK; i++) rankmap[static_cast<std::size_t>(w.hap_freq[static_cast<std::size_t>(i)])] = i;
  for (int g = 0; g < G; g++) w.hap_GOR[static_cast<std::size_t>(g)] = w.hap_freq[static_cast<std::size_t>(g) + 1];

  reduce_list(w.list, kRetainFrequency, freq.data());
  if (w.ext == 1) reduce_list_ex(w.list_ex, kRetainFrequency, freq.data());
  WindowSample& sample = prep.sample;
  sample.n = static_cast<int>(w.list.subjects.size());
  if (w.design == kCaseControl) {
    sample.cases = 0;
    for (const SubjectNode& s : w.list.subjects) sample.cases += study.STATUS[static_cast<std::size_t>(s.idx)] == 1;
    sample.controls = sample.n - sample.cases;
  }
  sample.info = dosage_r2(w.list, freq.data(), w.M);
  if (w.list.subjects.empty()) return fail(w, "A51_A61_A71", Check::kNobodyLeft);

  readinXV(w, model, study, study.cov.data());
  if (w.design == kCaseControl && (w.n1 == 0 || w.n0 == 0)) return fail(w, "A51_A61_A71", Check::kNoCaseOrControl);
  w.q = count_q(w, study);
  w.qq = 0;
  prep.G = G;
  return 1;
}

int A51_A61_A71(std::vector<double>& est, std::vector<double>& se, double* loglik, int* iter, Window& w,
                const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model, const StudyData& study,
                WindowSample& sample) {
  WindowPrep prep;
  const int prepared = prepare_window(w, geno, geno_ex, model, study, prep);
  sample = prep.sample;
  if (!prepared) return 0;
  const int G = prep.G;
  // Coefficients, frequencies, dependence parameters and pattern weights at most.
  std::size_t room = static_cast<std::size_t>(w.q + w.KK + w.pD * w.KK + w.J + 2);
  if (est.size() < room) est.resize(room);
  if (se.size() < room) se.resize(room);

  const int* hapmap = prep.rankmap.data();
  const double* f = prep.freq.data();
  double* e = est.data();
  double* s = se.data();
  switch (w.design) {
    case kCaseControl:
      if (w.anal == 0) return A5_CC(w, study, e, s, loglik, iter, hapmap, f, G);
      if (w.anal == 1) return A2_ind_HWE(w, study, e, s, loglik, iter, hapmap, f);
      return A4(w, study, e, s, loglik, iter, hapmap, f);
    case kCohort:
      if (w.anal == 0) return A6_CO(w, study, e, s, loglik, iter, hapmap, f, G);
      return A6_ind_HWE(w, study, e, s, loglik, iter, hapmap, f);
    default:
      if (w.anal == 0) return A7_CS_pl(w, study, e, s, loglik, iter, hapmap, f, G);
      return A7_ind_HWE(w, study, e, s, loglik, iter, hapmap, f);
  }
}
