// The report's numbers against R: -log10 p far below the double range, the
// genomic-control lambda, the quantiles of the QQ band; and the chromosome order.
#include <gtest/gtest.h>

#include <cmath>

#include "report.h"
#include "stats.h"

using namespace report;

TEST(ReportStats, MinusLog10PMatchesRFromZeroToForty) {
  // R: -pnorm(-abs(z), log.p = TRUE) / log(10) - log10(2)
  const struct {
    double z, ref;
  } cases[] = {
      {0, 0},  // R gives -5.6e-17 by rounding
      {0.0001, 3.4653068613277327e-05}, {0.1, 0.036049661062642235}, {0.5, 0.20966199360125953},
      {1, 0.49851554582798924},         {1.959964, 1.3010300113603845}, {2.5, 1.9059018101313194},
      {3, 2.5686690402653873},          {4, 4.1983049118924978},       {5, 6.2416156767266724},
      {5.5, 7.4204550459623322},        {6, 8.704834331812723},        {7, 11.591823641811507},
      {7.5, 13.195057943688608},        {8.2, 15.619088966703268},     {10, 22.817023409822092},
      {12.3456, 34.288620989827628},    {15, 50.134189618611522},      {20, 88.259065347411607},
      {25, 137.21371765533155},         {26.5, 154.01357201729832},    {30, 197.00817926599694},
      {33.3, 242.41329895973792},       {37.5, 307.03570707898069},    {38.5, 323.55031107281542},
      {40, 349.13597646368186},
  };
  for (const auto& c : cases) {
    EXPECT_NEAR(minus_log10_p(c.z), c.ref, 1e-9 * c.ref + 1e-15) << c.z;
    EXPECT_EQ(minus_log10_p(-c.z), minus_log10_p(c.z));
  }
  // Where the two methods meet, both sides agree.
  EXPECT_NEAR(minus_log10_p(5.0 * std::sqrt(2.0) - 1e-12), minus_log10_p(5.0 * std::sqrt(2.0) + 1e-12), 1e-9);
  // p written out from its logarithm, as the result files write p.
  EXPECT_EQ(p_from_log(349.13597646368186), "7.31e-350");
  EXPECT_EQ(p_from_log(2.0), "1.00e-02");
  EXPECT_EQ(p_from_log(1.3010300113603845), "5.00e-02");
  EXPECT_EQ(p_from_log(0.0), "1.00e+00");
}

TEST(ReportStats, LambdaIsRsMedianBasedValue) {
  // R: median(z^2) / qchisq(0.5, 1)
  std::vector<double> z = {0.12, -1.5, 2.2, -0.3, 0.9, 1.1, -2.8, 0.05, 3.3, -0.7, 1.6, -1.2};
  EXPECT_NEAR(lambda_gc(z), 2.9124948732709952, 1e-12);  // even count: mean of the middle two
  z.erase(z.begin());
  EXPECT_NEAR(lambda_gc(z), 3.1652774471775338, 1e-12);  // odd count
  EXPECT_TRUE(std::isnan(lambda_gc({})));
}

TEST(ReportStats, BetaQuantilesMatchR) {
  // R: qbeta(c(0.025, 0.975), i, n - i + 1)
  const struct {
    double i, n, lo, hi;
  } cases[] = {
      {1, 100, 0.00025314603297742054, 0.036216692645176463},
      {5, 100, 0.016431879182052161, 0.099257156712659889},
      {1000, 10000, 0.094187211733783582, 0.10594431650725089},
      {1, 10000000, 2.5317807952240291e-09, 3.6888787737224381e-07},
  };
  // The difference of log-gamma values of large arguments limits the accuracy to
  // about 1e-8 at n = 1e7, far below what a band drawn in pixels can show.
  for (const auto& c : cases) {
    EXPECT_NEAR(beta_quantile(0.025, c.i, c.n - c.i + 1), c.lo, 1e-7 * c.lo) << c.i << " " << c.n;
    EXPECT_NEAR(beta_quantile(0.975, c.i, c.n - c.i + 1), c.hi, 1e-7 * c.hi) << c.i << " " << c.n;
  }
}

TEST(ReportStats, ChromosomeOrder) {
  const std::vector<std::string> sorted = {"1", "chr2", "10", "22", "X", "chrY", "MT", "23", "GL000192.1", "Un"};
  for (std::size_t i = 0; i + 1 < sorted.size(); i++)
    EXPECT_LT(chromosome_key(sorted[i]), chromosome_key(sorted[i + 1])) << sorted[i] << " " << sorted[i + 1];
  EXPECT_EQ(chromosome_key("chrM"), chromosome_key("MT"));
  EXPECT_EQ(chromosome_key("x"), chromosome_key("X"));
  EXPECT_EQ(chromosome_key("07").group, 4);  // not a plain number
}
