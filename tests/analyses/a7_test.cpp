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

// The trait rises by 0.5 (log odds or mean) per copy of the target allele; a
// continuous trait has error variance 0.8^2.
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
    if (o.binary) {
      trait.push_back(r.uniform() < 1.0 / (1.0 + std::exp(0.3 - 0.5 * g - 0.4 * c2)) ? 1.0 : 0.0);
    } else {
      const double u = 1.0 - r.uniform(), v = r.uniform();
      trait.push_back(1.0 + 0.5 * g + 0.3 * c2 + 0.8 * std::sqrt(-2.0 * std::log(u)) * std::cos(2 * M_PI * v));
    }
  }
  s.study = testmodel::make_study({c}, std::vector<int>(at(o.n), 0));
  s.study.TRAIT = trait;
  testmodel::Builder b(3, 1, {"C"});
  b.categorical("C").effect("G C").output("G");
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
    sim::Sample s = cross_sectional({.n = 150, .binary = binary, .panel = true});
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
    const std::vector<double> fd = fd::gradient(expected, theta);
    for (int k = 0; k < st.P; k++) EXPECT_NEAR(fd[at(k)], g[at(k)], 1e-4 * (1.0 + scale)) << "parameter " << k;
    // The profile maximises the observed log-likelihood over gamma at theta.
    auto observed = [&](const std::vector<double>& t) {
      exp_eval_CS(st, t.data());
      return obs_loglike_CS(st);
    };
    auto slope = [&](const std::vector<double>& t) { return fd::gradient(observed, t)[at(st.off_gamma)]; };
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
  sim::Sample s = cross_sectional({.n = 600, .missing = 0.0, .homozygous = true});
  ASSERT_EQ(s.w.anal, 0);
  const Window w = s.w;
  const int q = w.q;
  // Least squares on the same design: the model without the error variance.
  Window wl = w;
  wl.q = q - 1;
  std::vector<double> b, bse, res;
  ASSERT_EQ(LS(wl, b, bse, s.study.TRAIT.data()), 1);
  double rss = 0.0, info = 0.0;
  for (const SubjectNode& sn : w.list.subjects) {
    ASSERT_EQ(sn.last - sn.first, 1);
    std::vector<double> z(8);
    const PairNode& pr = w.list.pairs[at(sn.first)];
    const int nz = Zvec(w, z.data(), sn.stratum, pr.h1, pr.h2);
    double fit = 0.0;
    for (int m = 0; m < nz; m++) fit += z[at(m)] * b[at(m)];
    res.push_back(s.study.TRAIT[at(sn.idx)] - fit);
    rss += res.back() * res.back();
  }
  // The error variance at its maximum-likelihood value; the information of its
  // log from the subjects' squared scores (r^2 / s2 - 1) / 2.
  const double s2 = rss / 600;
  for (double r : res) info += (r * r / s2 - 1.0) * (r * r / s2 - 1.0) / 4.0;
  std::vector<sim::Result> fits;
  for (int anal : {0, 1, 2}) {
    s.w = w;
    s.w.anal = anal;
    fits.push_back(anal == 0 ? sim::run(A7_CS_pl, s, s.prep.G) : sim::run(A7_ind_HWE, s));
    const sim::Result& r = fits.back();
    ASSERT_EQ(r.ok, 1) << "class " << anal;
    for (int m = 0; m < q - 1; m++) {
      EXPECT_NEAR(r.est[at(m)], b[at(m)], 1e-3) << m;
      EXPECT_NEAR(r.se[at(m)] / bse[at(m)], 1.0, 0.05) << m;
    }
    EXPECT_NEAR(r.est[at(q - 1)] / s2, 1.0, 1e-3);
    EXPECT_NEAR(r.se[at(q - 1)] / (s2 / std::sqrt(info)), 1.0, 0.03);
    EXPECT_NEAR(r.est[at(q)], s.prep.freq[at(w.hap_freq[0])], 1e-3);
  }
  // Independent covariates and no covariates are one analysis.
  EXPECT_TRUE(fits[1].est == fits[2].est && fits[1].se == fits[2].se && fits[1].loglik == fits[2].loglik);
}

TEST(CrossSectionalAnalysis, NoDependenceHaplotypeOrSinglePattern) {
  sim::Sample s = cross_sectional({.n = 200});
  for (int ndep : {0, -1}) {
    const sim::Result r = sim::run(A7_CS_pl, s, ndep);
    EXPECT_EQ(r.ok + r.iter, -7);
    EXPECT_EQ(r.est[0], -7.0);
    EXPECT_EQ(s.w.fail.check, Check::kNoDependence);
    EXPECT_STREQ(s.w.fail.stage, "A7_CS_pl");
  }
  // A DEPENDENT covariate with one level: one pattern, no gamma and no design
  // column, so the fit is the one without dependence.
  sim::Sample one = cross_sectional({.n = 200, .covariate = '1'});
  ASSERT_EQ(one.w.anal, 0);
  ASSERT_EQ(one.w.J, 1);
  const Window w = one.w;
  const sim::Result pl = sim::run(A7_CS_pl, one, 2);
  one.w = w;
  const sim::Result ind = sim::run(A7_ind_HWE, one);
  ASSERT_EQ(pl.ok + ind.ok, 2);
  for (std::size_t k = 0; k < at(w.q + w.KK); k++) {
    EXPECT_NEAR(pl.est[k], ind.est[k], 1e-12);
    EXPECT_NEAR(pl.se[k], ind.se[k], 1e-12);
  }
}

// Study target untyped, panel taking part: the estimates, and the reported
// standard errors (the per-subject information plus the panel's Louis
// information) against the inverse of the observed log-likelihood's Hessian.
TEST(CrossSectionalAnalysis, StandardErrorsMatchObservedInformation) {
  sim::Sample s = cross_sectional({.n = 800, .covariate = 'I', .panel = true});
  const Window w = s.w;
  const sim::Result r = sim::run(A7_ind_HWE, s);
  ASSERT_EQ(r.ok, 1);
  EXPECT_NEAR(r.est[0], 0.5, 2.5 * r.se[0]);
  EXPECT_NEAR(r.est[at(w.q - 1)], 0.64, 0.1);  // error variance 0.8^2
  s.w = w;
  CsState st(s.w, s.study, s.hapmap(), false, 0);
  std::vector<double> theta(at(st.P)), est(32), se(32);
  cs_start(st, s.freq(), theta.data());
  double loglik = 0.0;
  int iter = 0;
  ASSERT_EQ(A7_v_CS(st, theta.data(), &loglik, &iter), 1);
  EXPECT_EQ(loglik, r.loglik);
  Mat<double> H = fd::hessian([&](const std::vector<double>& t) {
    exp_eval_CS(st, t.data());
    return -obs_loglike_CS(st);
  }, theta);
  invv(H, st.P);
  orig_freq(s.w, est.data(), se.data(), theta.data(), H, st.P);
  se[at(st.q - 1)] *= std::exp(est[at(st.q - 1)]);
  for (int k = 0; k < st.q + st.KK; k++) EXPECT_NEAR(r.se[at(k)] / se[at(k)], 1.0, 0.1) << k;
}

// A binary trait with the target partly untyped. (The continuous trait's fit is
// checked against least squares, and with the panel in
// StandardErrorsMatchObservedInformation.)
TEST(CrossSectionalAnalysis, RecoversSimulatedEffect) {
  sim::Sample s = cross_sectional({.n = 800, .binary = true, .seed = 77});
  const sim::Result r = sim::run(A7_CS_pl, s, s.prep.G);
  ASSERT_EQ(r.ok, 1);
  EXPECT_GT(r.se[0], 0.0);
  EXPECT_LT(r.se[0], 0.25);
  EXPECT_NEAR(r.est[0], 0.5, 2.5 * r.se[0]);
  EXPECT_GT(r.iter, 1);
}
