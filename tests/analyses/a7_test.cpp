// The cross-sectional haplotype analyses: the M-step gradient against finite
// differences, agreement with least squares when every haplotype pair is known,
// the reported error variance, the no-dependence and single-pattern cases,
// standard errors against the observed information, and recovery of a simulated
// effect with the target SNP partly or wholly untyped.
#include <gtest/gtest.h>

#include "analyses/a7.h"
#include "analyses/analyses.h"
#include "analyses/sim.h"
#include "core/freq.h"
#include "core/linalg.h"
#include "design/coding.h"
#include "design/complete.h"

using sim::at;

namespace {

double normal(sim::Lcg& r) {
  const double u = 1.0 - r.uniform(), v = r.uniform();
  return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * v);
}

// The tags mostly determine the target allele.
const sim::Haplotypes kHaplotypes{{0b000, 0b111, 0b110, 0b001, 0b100}, {0.45, 0.75, 0.85, 0.95, 1.0}};

struct Options {
  int n = 300;
  bool binary = false;
  char covariate = 'D';     // 'D' DEPENDENT, 'I' independent, '1' DEPENDENT with one level
  double missing = 0.3;     // share of subjects with the target untyped
  bool panel = false;       // target untyped for everyone, 150 panel singletons
  bool homozygous = false;  // every subject carries two copies of one haplotype
  std::uint64_t seed = 2024;
};

// The trait rises by 0.5 (log odds or mean) per copy of the target allele.
sim::Sample cross_sectional(const Options& o) {
  sim::Lcg r(o.seed);
  sim::Sample s;
  s.geno = imatrix(0, o.n - 1, 0, 2);
  std::vector<double> c, trait;
  for (int i = 0; i < o.n; i++) {
    const int h1 = kHaplotypes.draw(r), h2 = o.homozygous ? h1 : kHaplotypes.draw(r);
    sim::genotype_row(s.geno, i, h1, h2);
    if (o.panel || r.uniform() < o.missing) s.geno[i][0] = 9;
    const int g = (h1 >> 2) + (h2 >> 2);
    c.push_back(o.covariate == '1' ? 1.0 : (r.uniform() < 0.4 + 0.1 * g ? 2.0 : 1.0));
    const double c2 = c.back() - 1.0;
    trait.push_back(o.binary ? (r.uniform() < 1.0 / (1.0 + std::exp(0.3 - 0.5 * g - 0.4 * c2)) ? 1.0 : 0.0)
                             : 1.0 + 0.5 * g + 0.3 * c2 + 0.8 * normal(r));
  }
  s.study = testmodel::make_study({c}, std::vector<int>(at(o.n), 0));
  s.study.TRAIT = trait;
  testmodel::Builder b(3, 1, {"C"});
  b.categorical("C").term("G", 2).term("C");
  if (o.covariate != 'I') b.dependent("C");
  s.model = b.model();
  if ((s.ext = o.panel)) {
    s.model.nUN = 150;
    s.geno_ex = sim::panel(r, kHaplotypes, 0, 0, 150);
  }
  s.prepare();
  return s;
}

}  // namespace

// The M-step objective (weights held at theta) against its gradient, with
// dependence, pattern weights and the panel taking part; then the profile over gamma.
TEST(CrossSectionalAnalysis, GradientMatchesFiniteDifferences) {
  for (bool binary : {true, false}) {
    SCOPED_TRACE(binary ? "binary" : "continuous");
    Options o;
    o.n = 150;
    o.panel = true;
    o.binary = binary;
    sim::Sample s = cross_sectional(o);
    ASSERT_EQ(s.w.anal, 0);
    CsState st(s.w, s.study, s.hapmap(), true, s.w.J - 1);
    st.set_qq(s.w.pD * s.prep.G);
    ASSERT_GT(st.qq, 0);
    ASSERT_EQ(st.ngamma, 1);
    std::vector<double> theta(at(st.P)), g(at(st.P));
    cs_start(st, s.freq(), theta.data());
    for (int k = 0; k < st.P; k++) theta[at(k)] += 0.1 * ((k % 3) - 1) + 0.05;
    exp_eval_CS(st, theta.data());
    link_eval_CS(st);
    dloglike_CS(st, theta.data(), g.data());
    auto expected = [&](const std::vector<double>& t) {
      exp_eval_CS(st, t.data());
      return loglike_CS(st);
    };
    const double scale = std::fabs(expected(theta));
    const std::vector<double> fd = sim::fd_gradient(expected, theta);
    for (int k = 0; k < st.P; k++) EXPECT_NEAR(fd[at(k)], g[at(k)], 1e-4 * (1.0 + scale)) << "parameter " << k;
    // The profile maximises the observed log-likelihood over gamma at theta.
    auto observed = [&](const std::vector<double>& t) {
      exp_eval_CS(st, t.data());
      return obs_loglike_CS(st);
    };
    auto slope = [&](const std::vector<double>& t) { return sim::fd_gradient(observed, t)[at(st.off_gamma)]; };
    const double slope_start = slope(theta), L_start = observed(theta);
    double L = 0.0;
    ASSERT_EQ(A7_pl_CS_qnr(st, theta.data(), &L), 1);
    std::vector<double> end = theta;
    end[at(st.off_gamma)] = st.gamma[0];
    EXPECT_NEAR(observed(end), L, 1e-9 * std::fabs(L));
    EXPECT_GT(L, L_start);
    EXPECT_LT(std::fabs(slope(end)), 0.01 * std::fabs(slope_start));
  }
}

TEST(CrossSectionalAnalysis, KnownPairsAgreeWithLeastSquares) {
  Options o;
  o.n = 600;
  o.homozygous = true;
  o.missing = 0.0;
  sim::Sample s = cross_sectional(o);
  ASSERT_EQ(s.w.anal, 0);
  // Least squares on the same design: the model without the error variance.
  Window wl = s.w;
  wl.q = s.w.q - 1;
  std::vector<double> b, bse, res;
  ASSERT_EQ(LS(wl, b, bse, s.study.TRAIT.data()), 1);
  double rss = 0.0, info = 0.0;
  for (const SubjectNode& sn : s.w.list.subjects) {
    ASSERT_EQ(sn.last - sn.first, 1);
    std::vector<double> z(8);
    const PairNode& pr = s.w.list.pairs[at(sn.first)];
    const int nz = Zvec(s.w, z.data(), sn.stratum, pr.h1, pr.h2);
    double fit = 0.0;
    for (int m = 0; m < nz; m++) fit += z[at(m)] * b[at(m)];
    res.push_back(s.study.TRAIT[at(sn.idx)] - fit);
    rss += res.back() * res.back();
  }
  // The error variance at its maximum-likelihood value; the information of its
  // log from the subjects' squared scores (r^2 / s2 - 1) / 2.
  const double s2 = rss / o.n;
  for (double r : res) info += (r * r / s2 - 1.0) * (r * r / s2 - 1.0) / 4.0;
  const int q = s.w.q;
  Window w = s.w;
  const sim::Result pl = sim::run(A7_CS_pl, s, s.prep.G);
  s.w = w;
  s.w.anal = 1;
  const sim::Result ind = sim::run(A7_ind_HWE, s);
  for (const sim::Result* r : {&pl, &ind}) {
    ASSERT_EQ(r->ok, 1);
    for (int m = 0; m < q - 1; m++) {
      EXPECT_NEAR(r->est[at(m)], b[at(m)], 1e-3) << m;
      EXPECT_NEAR(r->se[at(m)] / bse[at(m)], 1.0, 0.05) << m;
    }
    EXPECT_NEAR(r->est[at(q - 1)] / s2, 1.0, 1e-3);
    EXPECT_NEAR(r->se[at(q - 1)] / (s2 / std::sqrt(info)), 1.0, 0.03);
    EXPECT_NEAR(r->est[at(q)], s.prep.freq[at(s.w.hap_freq[0])], 1e-3);
  }
  // Independent covariates and no covariates are one analysis.
  s.w = w;
  s.w.anal = 2;
  const sim::Result ind2 = sim::run(A7_ind_HWE, s);
  EXPECT_EQ(ind2.ok, 1);
  EXPECT_EQ(ind2.est, ind.est);
  EXPECT_EQ(ind2.se, ind.se);
  EXPECT_EQ(ind2.loglik, ind.loglik);
}

TEST(CrossSectionalAnalysis, NoDependenceHaplotypeOrSinglePattern) {
  Options o;
  o.n = 200;
  sim::Sample s = cross_sectional(o);
  for (int ndep : {0, -1}) {
    const sim::Result r = sim::run(A7_CS_pl, s, ndep);
    EXPECT_EQ(r.ok, 0);
    EXPECT_EQ(r.est[0], -7.0);
  }
  // A DEPENDENT covariate with one level: one pattern, no gamma and no design
  // column, so the fit is the one without dependence.
  o.covariate = '1';
  sim::Sample one = cross_sectional(o);
  ASSERT_EQ(one.w.anal, 0);
  ASSERT_EQ(one.w.J, 1);
  Window w = one.w;
  const sim::Result pl = sim::run(A7_CS_pl, one, 2);
  one.w = w;
  const sim::Result ind = sim::run(A7_ind_HWE, one);
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
  sim::Sample s = cross_sectional(o);
  Window w = s.w;
  const sim::Result r = sim::run(A7_ind_HWE, s);
  ASSERT_EQ(r.ok, 1);
  s.w = w;
  CsState st(s.w, s.study, s.hapmap(), false, 0);
  const int P = st.P;
  std::vector<double> theta(at(P)), est(32), se(32);
  cs_start(st, s.freq(), theta.data());
  double loglik = 0.0;
  int iter = 0;
  ASSERT_EQ(A7_v_CS(st, theta.data(), &loglik, &iter), 1);
  EXPECT_EQ(loglik, r.loglik);
  Mat<double> H = sim::fd_hessian([&](const std::vector<double>& t) {
    exp_eval_CS(st, t.data());
    return -obs_loglike_CS(st);
  }, theta);
  invv(H, P);
  orig_freq(s.w, est.data(), se.data(), theta.data(), H, P);
  se[at(st.q - 1)] *= std::exp(est[at(st.q - 1)]);
  for (int k = 0; k < st.q + st.KK; k++) EXPECT_NEAR(r.se[at(k)] / se[at(k)], 1.0, 0.1) << k;
}

TEST(CrossSectionalAnalysis, RecoversSimulatedEffect) {
  struct Case {
    bool binary, panel, dependent;
  };
  for (const Case c : {Case{true, false, true}, Case{false, true, true}, Case{false, false, false}}) {
    SCOPED_TRACE(testing::Message() << "binary " << c.binary << " panel " << c.panel);
    Options o;
    o.n = 800;
    o.binary = c.binary;
    o.panel = c.panel;
    o.covariate = c.dependent ? 'D' : 'I';
    o.seed = 77;
    sim::Sample s = cross_sectional(o);
    const sim::Result r = c.dependent ? sim::run(A7_CS_pl, s, s.prep.G) : sim::run(A7_ind_HWE, s);
    ASSERT_EQ(r.ok, 1);
    EXPECT_GT(r.se[0], 0.0);
    EXPECT_LT(r.se[0], 0.25);
    EXPECT_NEAR(r.est[0], 0.5, 2.5 * r.se[0]);
    EXPECT_GT(r.iter, 1);
    if (!c.binary) {
      EXPECT_NEAR(r.est[at(s.w.q - 1)], 0.64, 0.1);  // error variance 0.8^2
    }
  }
}
