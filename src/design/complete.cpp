#include "design/complete.h"

#include <cmath>
#include <cstddef>

#include "core/failtable.h"
#include "core/freq.h"
#include "core/haplist.h"
#include "core/linalg.h"
#include "design/coding.h"
#include "design/readin.h"

namespace {

inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

double dot(const std::vector<double>& a, const std::vector<double>& b, int q) {
  double s = 0.0;
  for (int k = 0; k < q; k++) s += a[at(k)] * b[at(k)];
  return s;
}

// step = V U with V 1-based; the coefficients move by the step.
void newton_step(const Mat<double>& V, const std::vector<double>& U, std::vector<double>& step,
                 std::vector<double>& beta, int q) {
  for (int a = 0; a < q; a++) {
    double s = 0.0;
    for (int b = 0; b < q; b++) s += V[a + 1][b + 1] * U[at(b)];
    step[at(a)] = s;
  }
  for (int a = 0; a < q; a++) beta[at(a)] += step[at(a)];
}

// Checks the information, inverts it in place and checks the inverse; 0 when either is unusable.
int invert_checked(Window& w, const char* stage, Mat<double>& I, int q) {
  if (explosion_E(I, q)) return fail(w, stage, Check::kExplosionBefore);
  invv(I, q);
  if (explosion_E(I, q)) return fail(w, stage, Check::kExplosionAfter);
  return 1;
}

// Coefficients of the one-SNP design: the intercept (designs 1 and 3), the
// genetic terms, the covariate-by-genetic products and the covariate terms.
int single_snp_q(const Window& w) {
  const int per_term = w.mode == kCodominant ? 2 : 1;
  int q = w.design == kCohort ? 0 : 1;
  for (int h = 0; h < w.pH; h++)
    if (w.H_H[h][h] != 0) q += per_term;
  for (int r = 0; r < w.pX; r++)
    for (int h = 0; h < w.pH; h++)
      if (w.X_H[r][h] != 0) q += per_term;
  for (int r = 0; r < w.pX; r++)
    for (int c = r; c < w.pX; c++)
      if (w.X_X[r][c] != 0) q++;
  return q;
}

}  // namespace

int LG(Window& w, std::vector<double>& est, std::vector<double>& se, const int* status) {
  const int q = w.q;
  est.assign(at(q), 0.0);
  se.assign(at(q), 0.0);
  if (q <= 0) return fail(w, "LG", Check::kNoCoefficient);
  std::vector<double> beta(at(q), 0.0), step(at(q), 0.0), U(at(q)), z(at(q));
  Mat<double> I = dmatrix(1, q, 1, q);
  step[0] = 1.0;
  int iterations = 0;
  while (length(step.data(), q) > kNewtonTolerance) {
    if (iterations == kLogisticMaxIterations) return fail(w, "LG", Check::kFitCap);
    iterations++;
    U.assign(at(q), 0.0);
    I.fill(0.0);
    for (const SubjectNode& s : w.list.subjects) {
      const double y = status[s.idx];
      for (int e = s.first; e < s.last; e++) {
        const PairNode& pair = w.list.pairs[at(e)];
        Zvec(w, z.data(), s.stratum, pair.h1, pair.h2);
        const double eta = dot(z, beta, q);
        const double pi = std::exp(eta) / (std::exp(eta) + 1.0);
        for (int a = 0; a < q; a++) U[at(a)] += (y - pi) * z[at(a)];
        for (int a = 0; a < q; a++)
          for (int b = a; b < q; b++) I[a + 1][b + 1] += pi * (1.0 - pi) * z[at(a)] * z[at(b)];
      }
    }
    for (int a = 1; a <= q; a++)
      for (int b = 1; b < a; b++) I[a][b] = I[b][a];
    if (!invert_checked(w, "LG", I, q)) return 0;
    newton_step(I, U, step, beta, q);
  }
  if (inproper_std(I, q)) return fail(w, "LG", Check::kImproperStd);
  for (int a = 0; a < q; a++) {
    est[at(a)] = beta[at(a)];
    se[at(a)] = std::sqrt(I[a + 1][a + 1]);
  }
  return 1;
}

int PH(Window& w, std::vector<double>& est, std::vector<double>& se, const double* time, const int* event) {
  const int q = w.q;
  est.assign(at(q), 0.0);
  se.assign(at(q), 0.0);
  if (q <= 0) return fail(w, "PH", Check::kNoCoefficient);
  makeFlist(w, time, event);
  std::vector<double> beta(at(q), 0.0), step(at(q), 0.0), U(at(q)), S1(at(q)), z(at(q));
  Mat<double> I = dmatrix(1, q, 1, q);
  Mat<double> S2 = dmatrix(0, q - 1, 0, q - 1);
  step[0] = 1.0;
  int iterations = 0;
  while (iterations < kCoxMaxIterations && length(step.data(), q) > kNewtonTolerance) {
    iterations++;
    U.assign(at(q), 0.0);
    S1.assign(at(q), 0.0);
    I.fill(0.0);
    S2.fill(0.0);
    double S0 = 0.0;
    // From the latest failure time back: the sums then run over the risk set.
    // Subjects before the first failure (record 0) are in no risk set.
    for (int t = w.T; t >= 1; t--) {
      const FailRecord& rec = w.Fp[at(t)];
      for (int pos : rec.subjects) {
        const SubjectNode& s = w.list.subjects[at(pos)];
        for (int e = s.first; e < s.last; e++) {
          const PairNode& pair = w.list.pairs[at(e)];
          Zvec(w, z.data(), s.stratum, pair.h1, pair.h2);
          for (int a = 0; a < q; a++) U[at(a)] += event[s.idx] * z[at(a)];
          const double risk = std::exp(dot(beta, z, q));
          S0 += risk;
          for (int a = 0; a < q; a++) S1[at(a)] += risk * z[at(a)];
          for (int a = 0; a < q; a++)
            for (int b = 0; b < q; b++) S2[a][b] += risk * z[at(a)] * z[at(b)];
        }
      }
      const double d = rec.count;
      for (int a = 0; a < q; a++) U[at(a)] -= d * S1[at(a)] / S0;
      for (int a = 0; a < q; a++)
        for (int b = 0; b < q; b++) I[a + 1][b + 1] += d * (S2[a][b] / S0 - S1[at(a)] * S1[at(b)] / (S0 * S0));
    }
    if (!invert_checked(w, "PH", I, q)) return 0;
    newton_step(I, U, step, beta, q);
  }
  if (inproper_std(I, q)) return fail(w, "PH", Check::kImproperStd);
  if (iterations >= kCoxMaxIterations) return fail(w, "PH", Check::kFitCap);
  for (int a = 0; a < q; a++) {
    est[at(a)] = beta[at(a)];
    se[at(a)] = std::sqrt(I[a + 1][a + 1]);
  }
  return 1;
}

int LS(Window& w, std::vector<double>& est, std::vector<double>& se, const double* trait) {
  const int q = w.q, n = w.n_new;
  est.assign(at(q), 0.0);
  se.assign(at(q), 0.0);
  if (q <= 0) return fail(w, "LS", Check::kNoCoefficient);
  if (n <= 0) return fail(w, "LS", Check::kNobodyTyped);
  // One design row per subject, under its compact number.
  Mat<double> Z = dmatrix(0, n - 1, 0, q - 1);
  for (const SubjectNode& s : w.list.subjects)
    for (int e = s.first; e < s.last; e++) {
      const PairNode& pair = w.list.pairs[at(e)];
      Zvec(w, &Z[s.idx][0], s.stratum, pair.h1, pair.h2);
    }
  Mat<double> A = dmatrix(1, q, 1, q);
  std::vector<double> c(at(q), 0.0), beta(at(q), 0.0);
  for (int i = 0; i < n; i++)
    for (int a = 0; a < q; a++) {
      c[at(a)] += Z[i][a] * trait[i];
      for (int b = 0; b < q; b++) A[a + 1][b + 1] += Z[i][a] * Z[i][b];
    }
  if (explosion_E(A, q)) return fail(w, "LS", Check::kExplosionBefore);
  invv(A, q);
  if (inproper_std(A, q)) return fail(w, "LS", Check::kImproperStd);
  for (int a = 0; a < q; a++) {
    double s = 0.0;
    for (int b = 0; b < q; b++) s += A[a + 1][b + 1] * c[at(b)];
    beta[at(a)] = s;
  }
  double rss = 0.0;
  for (int i = 0; i < n; i++) {
    double fit = 0.0;
    for (int a = 0; a < q; a++) fit += Z[i][a] * beta[at(a)];
    rss += (trait[i] - fit) * (trait[i] - fit);
  }
  const double s2 = rss / (n - q);
  for (int a = 0; a < q; a++) {
    est[at(a)] = beta[at(a)];
    se[at(a)] = std::sqrt(A[a + 1][a + 1] * s2);
  }
  return 1;
}

int stan_single(std::vector<double>& est, std::vector<double>& se, const StudyData& study, int snp, const Model& model,
                Window& w, bool raw_trait) {
  const int n = study.n, p = model.p;
  const std::uint8_t* g = study.genotypes(snp);
  w.fail = FailReason{};
  const std::vector<double>& y = raw_trait ? study.TRAIT_raw : study.TRAIT;

  // The subjects typed at this SNP, compacted: genotype, covariates, outcome.
  Mat<int> geno = imatrix(0, n - 1, 0, 0);
  std::vector<double> cov(at(n) * at(p));
  std::vector<int> status, event;
  std::vector<double> time, trait;
  if (model.design == kCaseControl) status.resize(at(n));
  if (model.design == kCohort) time.resize(at(n)), event.resize(at(n));
  if (model.design == kCrossSectional) trait.resize(at(n));
  int n_new = 0;
  for (int i = 0; i < n; i++) {
    if (g[i] == kMissingGenotype) continue;
    geno[n_new][0] = g[i];
    for (int k = 0; k < p; k++) cov[at(n_new) * at(p) + at(k)] = study.cov[at(i) * at(study.p) + at(k)];
    if (model.design == kCaseControl) {
      status[at(n_new)] = study.STATUS[at(i)];
    } else if (model.design == kCohort) {
      time[at(n_new)] = study.TIME[at(i)];
      event[at(n_new)] = study.EVENT[at(i)];
    } else {
      trait[at(n_new)] = y[at(i)];
    }
    n_new++;
  }

  const int saved_M = w.M;
  w.set_size(1);
  w.design = model.design;
  w.mode = model.mode;
  w.pH = model.pH;
  makelist(w.list, geno, n_new, w.M);
  readinXV(w, model, study, cov.data());
  w.q = single_snp_q(w);

  int ok = 0;
  if (n_new > 0) {
    switch (model.design) {
      case kCaseControl: ok = LG(w, est, se, status.data()); break;
      case kCohort: ok = PH(w, est, se, time.data(), event.data()); break;
      default: ok = LS(w, est, se, trait.data()); break;
    }
  } else {
    est.assign(at(w.q), 0.0);
    se.assign(at(w.q), 0.0);
    fail(w, "stan_single", Check::kNobodyTyped);
  }

  w.list.clear();
  w.Fp.clear();
  w.T = 0;
  w.X = Mat<double>();
  w.X_X = Mat<int>();
  w.X_H = Mat<int>();
  w.H_H = Mat<int>();
  w.set_size(saved_M);
  return ok;
}
