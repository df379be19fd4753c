// Numbers of the report: -log10 of a two-sided normal p-value that stays exact
// far below the smallest double, the genomic-control lambda, the quantiles of
// uniform order statistics for the QQ plot's band, the order of chromosomes,
// and printf into a string of whatever length the text needs.
#pragma once

#include <string>
#include <vector>

namespace report {

inline constexpr double kMedianChisq1 = 0.45493642311957283;  // median of chi-square with 1 df
inline constexpr double kGenomeWide = 5e-8;                    // genome-wide significance
inline constexpr double kSuggestive = 1e-5;                    // suggestive significance

// -log10 of the two-sided p-value 2 * Phi(-|z|), computed through the log of the
// upper tail so that it stays exact where the p-value itself underflows.
double minus_log10_p(double z);

// The genomic-control lambda: the median of z^2 over the given statistics,
// divided by the median of the chi-square distribution with one degree of
// freedom. NaN for an empty list.
double lambda_gc(std::vector<double> z);

// The regularized incomplete beta function I_x(a, b), and its inverse in x.
double incomplete_beta(double a, double b, double x);
double beta_quantile(double prob, double a, double b);

// Sort key of a chromosome name: 1..22 in numeric order, then X, Y, MT (also
// written M), then every other name in character order. A leading "chr" is
// ignored.
struct ChromosomeKey {
  int group = 0;     // 0 numeric 1..22, 1 X, 2 Y, 3 MT, 4 other
  int number = 0;    // numeric chromosomes
  std::string name;  // other names
  auto operator<=>(const ChromosomeKey&) const = default;
};
ChromosomeKey chromosome_key(const std::string& chr);

// std::snprintf into a string, never cut short: long identifiers and numbers
// such as 1e300 printed with %f come out whole.
std::string formatted(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace report
