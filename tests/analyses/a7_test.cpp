// The cross-sectional haplotype analyses: the M-step gradient against finite
// differences, agreement with least squares when every haplotype pair is known,
// the reported error variance, the no-dependence and single-pattern cases,
// standard errors against the observed information, and recovery of a simulated
// effect with the target SNP partly or wholly untyped.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analyses/a7.h"
#include "analyses/analyses.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "design/coding.h"
#include "design/complete.h"
#include "design/dispatch.h"
#include "design/model_builder.h"
#include "design/sample_study.h"

namespace {

using sample::Lcg;
inline std::size_t at(int i) { return static_cast<std::size_t>(i); }

double normal(Lcg& r) {
  const double u = 1.0 - r.uniform(), v = r.uniform();
  return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * v);
}

// Three-SNP haplotypes (target first); the tags mostly determine the target allele.
int draw_haplotype(Lcg& r) {
  const int codes[5] = {0b000, 0b111, 0b110, 0b001, 0b100};
  const double cum[5] = {0.45, 0.75, 0.85, 0.95, 1.0};
  const double u = r.uniform();
  int k = 0;
  while (k < 4 && u >= cum[k]) k++;
  return codes[k];
}

void genotype_row(Mat<int>& g, int row, int h1, int h2) {
  for (int j = 0; j < 3; j++) g[row][j] = ((h1 >> (2 - j)) & 1) + ((h2 >> (2 - j)) & 1);
}

struct Options {
  int n = 300;
  bool binary = false;
  char covariate = 'D';     // 'D' DEPENDENT, 'I' independent, '1' DEPENDENT with one level
  double missing = 0.3;     // share of subjects with the target untyped
  bool panel = false;       // target untyped for everyone, 150 panel singletons
  bool homozygous = false;  // every subject carries two copies of one haplotype
  std::uint64_t seed = 2024;
};

// A study whose trait rises by 0.5 (log odds or mean) per copy of the target allele.
struct CrossSectional {
  StudyData study;
  Model model;
  Mat<int> geno, geno_ex;
  Window w;
  WindowPrep prep;

  explicit CrossSectional(const Options& o) : geno(imatrix(0, o.n - 1, 0, 2)) {
    Lcg r(o.seed);
    std::vector<double> c, trait;
    for (int i = 0; i < o.n; i++) {
      const int h1 = draw_haplotype(r), h2 = o.homozygous ? h1 : draw_haplotype(r);
      genotype_row(geno, i, h1, h2);
      if (o.panel || r.uniform() < o.missing) geno[i][0] = 9;
      const int g = (h1 >> 2) + (h2 >> 2);
      c.push_back(o.covariate == '1' ? 1.0 : (r.uniform() < 0.4 + 0.1 * g ? 2.0 : 1.0));
      const double c2 = c.back() - 1.0;
      trait.push_back(o.binary ? (r.uniform() < 1.0 / (1.0 + std::exp(0.3 - 0.5 * g - 0.4 * c2)) ? 1.0 : 0.0)
                               : 1.0 + 0.5 * g + 0.3 * c2 + 0.8 * normal(r));
    }
    study = testmodel::make_study({c}, std::vector<int>(at(o.n), 0));
    study.TRAIT = trait;
    testmodel::Builder b(3, 1, {"C"});
    b.categorical("C").term("G", 2).term("C");
    if (o.covariate != 'I') b.dependent("C");
    model = b.model();
    w.set_size(3);
    w.design = 3;
    w.pH = 1;
    w.ext = o.panel ? 1 : 0;
    if (o.panel) {
      model.nUN = 150;
      geno_ex = imatrix(0, 149, 0, 2);
      for (int u = 0; u < 150; u++) genotype_row(geno_ex, u, draw_haplotype(r), draw_haplotype(r));
    }
    EXPECT_EQ(prepare_window(w, geno, geno_ex, model, study, prep), 1);
  }
  const int* hapmap() const { return prep.rankmap.data(); }
};

struct Result {
  int ok = 0, iter = 0;
  std::vector<double> est = std::vector<double>(32, -7.0), se = std::vector<double>(32, -7.0);
  double loglik = 0.0;
};

// A7_CS_pl with ndep dependence haplotypes, or A7_ind_HWE when ndep is absent.
Result run(CrossSectional& cs, const int* ndep = nullptr) {
  Result r;
  const double* f = cs.prep.freq.data();
  r.ok = ndep ? A7_CS_pl(cs.w, cs.study, r.est.data(), r.se.data(), &r.loglik, &r.iter, cs.hapmap(), f, *ndep)
              : A7_ind_HWE(cs.w, cs.study, r.est.data(), r.se.data(), &r.loglik, &r.iter, cs.hapmap(), f);
  return r;
}

// Central differences of the M-step objective (weights held at theta) against
// its gradient, with dependence, pattern weights and the panel taking part.
void check_gradient(bool binary) {
  Options o;
  o.n = 150;
  o.panel = true;
  o.binary = binary;
  CrossSectional cs(o);
  ASSERT_EQ(cs.w.anal, 0);
  CsState st(cs.w, cs.study, cs.hapmap(), true, cs.w.J - 1);
  st.set_qq(cs.w.pD * cs.prep.G);
  ASSERT_GT(st.qq, 0);
  ASSERT_EQ(st.ngamma, 1);
  std::vector<double> theta(at(st.P)), g(at(st.P));
  cs_start(st, cs.prep.freq.data(), theta.data());
  for (int k = 0; k < st.P; k++) theta[at(k)] += 0.1 * ((k % 3) - 1) + 0.05;
  exp_eval_CS(st, theta.data());
  link_eval_CS(st);
  dloglike_CS(st, theta.data(), g.data());
  const double h = 1e-5;
  for (int k = 0; k < st.P; k++) {
    std::vector<double> t = theta;
    t[at(k)] += h;
    exp_eval_CS(st, t.data());
    const double up = loglike_CS(st);
    t[at(k)] -= 2 * h;
    exp_eval_CS(st, t.data());
    const double down = loglike_CS(st);
    EXPECT_NEAR((up - down) / (2 * h), g[at(k)], 1e-4 * (1.0 + std::fabs(up))) << "parameter " << k;
  }
  // The profile maximises the observed log-likelihood over gamma at theta.
  auto obs_gamma = [&](double gamma, double* slope) {
    std::vector<double> t = theta;
    t[at(st.off_gamma)] = gamma + h;
    exp_eval_CS(st, t.data());
    const double up = obs_loglike_CS(st);
    t[at(st.off_gamma)] = gamma - h;
    exp_eval_CS(st, t.data());
    *slope = (up - obs_loglike_CS(st)) / (2 * h);
    t[at(st.off_gamma)] = gamma;
    exp_eval_CS(st, t.data());
    return obs_loglike_CS(st);
  };
  double L = 0.0, slope_start = 0.0, slope_end = 0.0;
  const double L_start = obs_gamma(theta[at(st.off_gamma)], &slope_start);
  ASSERT_EQ(A7_pl_CS_qnr(st, theta.data(), &L), 1);
  EXPECT_NEAR(obs_gamma(st.gamma[0], &slope_end), L, 1e-9 * std::fabs(L));
  EXPECT_GT(L, L_start);
  EXPECT_LT(std::fabs(slope_end), 0.01 * std::fabs(slope_start));
}

}  // namespace

TEST(CrossSectionalAnalysis, GradientMatchesFiniteDifferences) {
  check_gradient(true);
  check_gradient(false);
}

TEST(CrossSectionalAnalysis, KnownPairsAgreeWithLeastSquares) {
  Options o;
  o.n = 600;
  o.homozygous = true;
  o.missing = 0.0;
  CrossSectional cs(o);
  ASSERT_EQ(cs.w.anal, 0);
  // Least squares on the same design: the model without the error variance.
  Window wl = cs.w;
  wl.q = cs.w.q - 1;
  std::vector<double> b, bse, res;
  ASSERT_EQ(LS(wl, b, bse, cs.study.TRAIT.data()), 1);
  double rss = 0.0, info = 0.0;
  for (const SubjectNode& sn : cs.w.list.subjects) {
    ASSERT_EQ(sn.last - sn.first, 1);
    std::vector<double> z(8);
    const PairNode& pr = cs.w.list.pairs[at(sn.first)];
    const int nz = Zvec(cs.w, z.data(), sn.stratum, pr.h1, pr.h2);
    double fit = 0.0;
    for (int m = 0; m < nz; m++) fit += z[at(m)] * b[at(m)];
    res.push_back(cs.study.TRAIT[at(sn.idx)] - fit);
    rss += res.back() * res.back();
  }
  // The error variance at its maximum-likelihood value; the information of its
  // log from the subjects' squared scores (r^2 / s2 - 1) / 2.
  const double s2 = rss / o.n;
  for (double r : res) info += (r * r / s2 - 1.0) * (r * r / s2 - 1.0) / 4.0;
  const int q = cs.w.q;

  Result pl = run(cs, &cs.prep.G);
  ASSERT_EQ(pl.ok, 1);
  cs.w.anal = 1;
  Result ind = run(cs);
  ASSERT_EQ(ind.ok, 1);
  for (const Result* r : {&pl, &ind}) {
    for (int m = 0; m < q - 1; m++) {
      EXPECT_NEAR(r->est[at(m)], b[at(m)], 1e-3) << m;
      EXPECT_NEAR(r->se[at(m)] / bse[at(m)], 1.0, 0.05) << m;
    }
    EXPECT_NEAR(r->est[at(q - 1)] / s2, 1.0, 1e-3);
    EXPECT_NEAR(r->se[at(q - 1)] / (s2 / std::sqrt(info)), 1.0, 0.03);
    EXPECT_NEAR(r->est[at(q)], cs.prep.freq[at(cs.w.hap_freq[0])], 1e-3);
  }
  // Independent covariates and no covariates are one analysis.
  cs.w.anal = 2;
  Result ind2 = run(cs);
  EXPECT_EQ(ind2.ok, 1);
  EXPECT_EQ(ind2.est, ind.est);
  EXPECT_EQ(ind2.se, ind.se);
  EXPECT_EQ(ind2.loglik, ind.loglik);
}

TEST(CrossSectionalAnalysis, NoDependenceHaplotypeOrSinglePattern) {
  Options o;
  o.n = 200;
  CrossSectional cs(o);
  for (int ndep : {0, -1}) {
    Result r = run(cs, &ndep);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.est[0], -7.0);
  }
  // A DEPENDENT covariate with one level: one pattern, no gamma and no design
  // column, so the fit is the one without dependence.
  o.covariate = '1';
  CrossSectional one(o);
  ASSERT_EQ(one.w.anal, 0);
  ASSERT_EQ(one.w.J, 1);
  const int ndep = 2;
  Result pl = run(one, &ndep), ind = run(one);
  ASSERT_EQ(pl.ok, 1);
  ASSERT_EQ(ind.ok, 1);
  for (std::size_t k = 0; k < at(one.w.q + one.w.KK); k++) {
    EXPECT_NEAR(pl.est[k], ind.est[k], 1e-12);
    EXPECT_NEAR(pl.se[k], ind.se[k], 1e-12);
  }
}

// Study target untyped, panel taking part: the reported standard errors (the
// per-subject information plus the panel's Louis information) against the inverse
// of the observed log-likelihood's Hessian by central differences.
TEST(CrossSectionalAnalysis, StandardErrorsMatchObservedInformation) {
  Options o;
  o.n = 800;
  o.panel = true;
  o.covariate = 'I';
  CrossSectional cs(o);
  Result r = run(cs);
  ASSERT_EQ(r.ok, 1);
  CsState st(cs.w, cs.study, cs.hapmap(), false, 0);
  const int P = st.P;
  std::vector<double> theta(at(P)), est(32), se(32);
  cs_start(st, cs.prep.freq.data(), theta.data());
  double loglik = 0.0;
  int iter = 0;
  ASSERT_EQ(A7_v_CS(st, theta.data(), &loglik, &iter), 1);
  EXPECT_EQ(loglik, r.loglik);
  const double h = 1e-4;
  const int si[4] = {1, 1, -1, -1}, sj[4] = {1, -1, 1, -1};
  Mat<double> H = dmatrix(1, P, 1, P);
  for (int i = 0; i < P; i++)
    for (int j = 0; j < P; j++) {
      double f[4];
      for (int k = 0; k < 4; k++) {
        std::vector<double> t = theta;
        t[at(i)] += si[k] * h;
        t[at(j)] += sj[k] * h;
        exp_eval_CS(st, t.data());
        f[k] = obs_loglike_CS(st);
      }
      H[i + 1][j + 1] = -(f[0] - f[1] - f[2] + f[3]) / (4 * h * h);
    }
  invv(H, P);
  orig_freq(cs.w, est.data(), se.data(), theta.data(), H, P);
  se[at(st.q - 1)] *= std::exp(est[at(st.q - 1)]);
  for (int k = 0; k < st.q + st.KK; k++) EXPECT_NEAR(r.se[at(k)] / se[at(k)], 1.0, 0.1) << k;
}

TEST(CrossSectionalAnalysis, RecoversSimulatedEffect) {
  struct Case {
    bool binary, panel, dependent;
  };
  for (const Case c : {Case{true, false, true}, Case{false, true, true}, Case{false, false, false}}) {
    Options o;
    o.n = 800;
    o.binary = c.binary;
    o.panel = c.panel;
    o.covariate = c.dependent ? 'D' : 'I';
    o.seed = 77;
    CrossSectional cs(o);
    Result r = c.dependent ? run(cs, &cs.prep.G) : run(cs);
    ASSERT_EQ(r.ok, 1) << c.binary << c.panel;
    EXPECT_GT(r.se[0], 0.0);
    EXPECT_LT(r.se[0], 0.25);
    EXPECT_NEAR(r.est[0], 0.5, 2.5 * r.se[0]) << c.binary << c.panel;
    EXPECT_GT(r.iter, 1);
    if (!c.binary) {
      EXPECT_NEAR(r.est[at(cs.w.q - 1)], 0.64, 0.1);  // error variance 0.8^2
    }
  }
}
