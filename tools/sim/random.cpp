// Deterministic random numbers and elementary functions (see random.h).
#include "random.h"

#include <cmath>
#include <limits>

namespace sim {

std::uint64_t derive_key(std::uint64_t seed, std::uint64_t tag, std::uint64_t index) {
    std::uint64_t k = mix64(seed + 0x6A09E667F3BCC909ULL);
    k = mix64(k ^ (tag * 0xD1B54A32D192ED03ULL));
    return mix64(k + index * kGolden);
}

Stream::Stream(std::uint64_t key) {
    std::uint64_t x = key;
    for (auto& w : s_) {
        x += kGolden;
        w = mix64(x);
    }
}

static inline std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

std::uint64_t Stream::next() {
    const std::uint64_t result = rotl(s_[1] * 5, 7) * 9;
    const std::uint64_t t = s_[1] << 17;
    s_[2] ^= s_[0];
    s_[3] ^= s_[1];
    s_[1] ^= s_[2];
    s_[0] ^= s_[3];
    s_[2] ^= t;
    s_[3] = rotl(s_[3], 45);
    return result;
}

double Stream::uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

std::uint64_t Stream::below(std::uint64_t n) {
    const std::uint64_t limit = std::numeric_limits<std::uint64_t>::max() - std::numeric_limits<std::uint64_t>::max() % n;
    std::uint64_t x;
    do {
        x = next();
    } while (x >= limit);
    return x % n;
}

double Stream::normal() {
    if (hasSpare_) {
        hasSpare_ = false;
        return spare_;
    }
    double u, v, s;
    do {
        u = 2.0 * uniform() - 1.0;
        v = 2.0 * uniform() - 1.0;
        s = u * u + v * v;
    } while (s >= 1.0 || s == 0.0);
    const double f = std::sqrt(-2.0 * det_log(s) / s);
    spare_ = v * f;
    hasSpare_ = true;
    return u * f;
}

double Stream::exponential() { return -det_log(uniform_open0()); }

// ln 2 split so that k * kLn2Hi is exact for the exponents met here.
static constexpr double kLn2Hi = 6.93147180369123816490e-01;
static constexpr double kLn2Lo = 1.90821492927058770002e-10;
static constexpr double kInvLn2 = 1.44269504088896338700e+00;

double det_exp(double x) {
    if (std::isnan(x)) return x;
    if (x > 709.78) return std::numeric_limits<double>::infinity();
    if (x < -745.0) return 0.0;
    const double k = std::floor(x * kInvLn2 + 0.5);
    const double r = (x - k * kLn2Hi) - k * kLn2Lo;  // |r| <= 0.35
    // Taylor series, Horner form; 20 terms are far beyond double precision here.
    double sum = 1.0;
    for (int n = 20; n >= 1; --n) sum = 1.0 + sum * r / n;
    return std::ldexp(sum, static_cast<int>(k));
}

double det_log(double x) {
    if (std::isnan(x) || x < 0.0) return std::numeric_limits<double>::quiet_NaN();
    if (x == 0.0) return -std::numeric_limits<double>::infinity();
    if (std::isinf(x)) return x;
    int e = 0;
    double m = std::frexp(x, &e);  // x = m * 2^e, m in [0.5, 1)
    if (m < 0.70710678118654752440) {
        m *= 2.0;
        --e;
    }
    // log m = 2 atanh(f), f = (m - 1) / (m + 1), |f| <= 0.1716
    const double f = (m - 1.0) / (m + 1.0);
    const double s = f * f;
    double series = 0.0;
    for (int k = 14; k >= 0; --k) series = 1.0 / (2 * k + 1) + s * series;
    const double logm = 2.0 * f * series;
    const double de = static_cast<double>(e);
    return de * kLn2Hi + (de * kLn2Lo + logm);
}

double logistic(double x) {
    if (x >= 0.0) return 1.0 / (1.0 + det_exp(-x));
    const double z = det_exp(x);
    return z / (1.0 + z);
}

double logit(double p) { return det_log(p / (1.0 - p)); }

} // namespace sim
