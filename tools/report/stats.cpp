#include "stats.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <numbers>

namespace report {

namespace {

constexpr double kSmallArgument = 0.5;  // below: log1p(-erf), exact near z = 0
constexpr double kTailArgument = 5.0;   // above: continued fraction of erfc
constexpr int kFractionTerms = 200;     // ample for arguments of 5 and more
constexpr int kBetaMaxIter = 100000;
constexpr double kBetaEps = 1e-15;
constexpr double kTiny = 1e-300;

// log erfc(x) for x >= 0.
double log_erfc(double x) {
  if (x < kSmallArgument) return std::log1p(-std::erf(x));
  if (x < kTailArgument) return std::log(std::erfc(x));
  // erfc(x) = exp(-x^2) / sqrt(pi) / (x + (1/2)/(x + 1/(x + (3/2)/(x + ...)))), evaluated bottom-up.
  double f = x;
  for (int n = kFractionTerms; n >= 1; n--) f = x + 0.5 * n / f;
  return -x * x - 0.5 * std::log(std::numbers::pi) - std::log(f);
}

// Continued fraction of the incomplete beta function (modified Lentz).
double beta_fraction(double a, double b, double x) {
  const double qab = a + b, qap = a + 1.0, qam = a - 1.0;
  double c = 1.0, d = 1.0 - qab * x / qap;
  if (std::fabs(d) < kTiny) d = kTiny;
  d = 1.0 / d;
  double h = d;
  for (int m = 1; m <= kBetaMaxIter; m++) {
    const double m2 = 2.0 * m;
    double aa = m * (b - m) * x / ((qam + m2) * (a + m2));
    d = 1.0 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1.0 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1.0 / d;
    h *= d * c;
    aa = -(a + m) * (qab + m) * x / ((a + m2) * (qap + m2));
    d = 1.0 + aa * d;
    if (std::fabs(d) < kTiny) d = kTiny;
    c = 1.0 + aa / c;
    if (std::fabs(c) < kTiny) c = kTiny;
    d = 1.0 / d;
    const double del = d * c;
    h *= del;
    if (std::fabs(del - 1.0) < kBetaEps) break;
  }
  return h;
}

}  // namespace

double minus_log10_p(double z) { return -log_erfc(std::fabs(z) / std::numbers::sqrt2) / std::numbers::ln10; }

double lambda_gc(std::vector<double> z) {
  const std::size_t n = z.size();
  if (n == 0) return std::nan("");
  for (double& v : z) v *= v;
  const auto mid = z.begin() + static_cast<std::ptrdiff_t>(n / 2);
  std::nth_element(z.begin(), mid, z.end());
  double median = *mid;
  if (n % 2 == 0) median = 0.5 * (median + *std::max_element(z.begin(), mid));
  return median / kMedianChisq1;
}

double incomplete_beta(double a, double b, double x) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  const double front =
      std::exp(std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b) + a * std::log(x) + b * std::log1p(-x));
  if (x < (a + 1.0) / (a + b + 2.0)) return front * beta_fraction(a, b, x) / a;
  return 1.0 - front * beta_fraction(b, a, 1.0 - x) / b;
}

double beta_quantile(double prob, double a, double b) {
  // Bisection on log x: the quantiles of interest span many orders of magnitude.
  double lo = -745.0, hi = 0.0;
  for (int it = 0; it < 200 && hi - lo > 1e-15 * std::fabs(lo + hi) + 1e-300; it++) {
    const double mid = 0.5 * (lo + hi);
    if (incomplete_beta(a, b, std::exp(mid)) < prob)
      lo = mid;
    else
      hi = mid;
  }
  return std::exp(0.5 * (lo + hi));
}

ChromosomeKey chromosome_key(const std::string& chr) {
  std::string s = chr;
  if (s.size() > 3 && (s[0] == 'c' || s[0] == 'C') && (s[1] == 'h' || s[1] == 'H') && (s[2] == 'r' || s[2] == 'R'))
    s = s.substr(3);
  ChromosomeKey key;
  if (!s.empty() && s.size() <= 2 && std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isdigit(c); })) {
    const int v = std::stoi(s);
    if (v >= 1 && v <= 22 && s[0] != '0') {
      key.number = v;
      return key;
    }
  }
  std::string up = s;
  for (char& c : up) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (up == "X") key.group = 1;
  else if (up == "Y") key.group = 2;
  else if (up == "MT" || up == "M") key.group = 3;
  else {
    key.group = 4;
    key.name = chr;
  }
  return key;
}

std::string formatted(const char* fmt, ...) {
  std::va_list args, again;
  va_start(args, fmt);
  va_copy(again, args);
  const int n = std::vsnprintf(nullptr, 0, fmt, args);
  va_end(args);
  std::string out(n > 0 ? static_cast<std::size_t>(n) : 0, '\0');
  if (n > 0) std::vsnprintf(out.data(), out.size() + 1, fmt, again);
  va_end(again);
  return out;
}

}  // namespace report
