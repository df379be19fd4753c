// Deterministic random numbers for the simulator: a 64-bit mixer for
// counter-based draws, xoshiro256** streams, and normal, exponential and
// logistic helpers built on our own exp/log so that the same seed gives the
// same bytes on every machine and every library version.
#pragma once

#include <cstdint>

namespace sim {

// Golden-ratio increment of splitmix64; also used to step counter-based draws.
inline constexpr std::uint64_t kGolden = 0x9E3779B97F4A7C15ULL;

// splitmix64 finaliser: a bijective, well-mixing map of 64-bit words.
inline std::uint64_t mix64(std::uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
}

// Purpose tags of the independent random streams of one run.
enum StreamTag : std::uint64_t {
    kTagMap = 1,          // positions, identifiers, letters, founder alleles
    kTagComposition,      // typed / study-only / unphased / letter classes / missing SNPs
    kTagHaplotypes,       // key of the counter-based haplotype draws
    kTagPanel,            // transmissions in panel families
    kTagPerson,           // covariates and response draws of population member k
    kTagOrder,            // order of the sampled study subjects
    kTagStudyMissing,     // missing study genotypes at SNP j
    kTagPanelMissing,     // missing panel genotypes at SNP j
    kTagPhenotypeMissing  // NA entries of study subject i
};

// Derives an independent 64-bit key from the run seed, a purpose tag and an index.
std::uint64_t derive_key(std::uint64_t seed, std::uint64_t tag, std::uint64_t index);

// xoshiro256** generator, seeded from one 64-bit key through splitmix64.
class Stream {
public:
    explicit Stream(std::uint64_t key);
    Stream(std::uint64_t seed, std::uint64_t tag, std::uint64_t index)
        : Stream(derive_key(seed, tag, index)) {}

    std::uint64_t next();
    // Uniform on [0, 1) with 53 random bits.
    double uniform();
    // Uniform on (0, 1].
    double uniform_open0() { return 1.0 - uniform(); }
    // Uniform integer in [0, n), n > 0 (rejection sampling, no modulo bias).
    std::uint64_t below(std::uint64_t n);
    // Standard normal (Marsaglia polar method).
    double normal();
    // Standard exponential.
    double exponential();
    // 1 with probability p, else 0.
    bool bernoulli(double p) { return uniform() < p; }

private:
    std::uint64_t s_[4];
    double spare_ = 0.0;
    bool hasSpare_ = false;
};

// exp and natural log computed with plain IEEE arithmetic only (no libm), so
// that results are bit-identical wherever the program is built.
double det_exp(double x);
double det_log(double x);
// 1 / (1 + exp(-x)).
double logistic(double x);
// log(p / (1 - p)).
double logit(double p);

} // namespace sim
