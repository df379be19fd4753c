// The study sample: who is in the study (a case-control sample drawn from a
// simulated population, or a cohort / cross-sectional sample), their
// covariates, their genotype at the causal SNP and their response.
#pragma once

#include "genome.h"
#include "options.h"

#include <cstdint>
#include <vector>

namespace sim {

// Baseline hazard of the cohort design (per unit of time).
inline constexpr double kBaselineHazard = 0.1;
// Shares of levels 1, 2, 3 of a categorical covariate (before any dependence on genotype).
inline constexpr double kLevelShare[3] = {0.5, 0.3, 0.2};

struct Sample {
    int n = 0;
    int nx = 0;  // continuous covariates X1..
    int nc = 0;  // categorical covariates C1..
    std::vector<std::uint64_t> member;  // population index of each subject (haplotypes 2k, 2k+1)
    std::vector<int> genotype;          // copies of allele 1 at the causal SNP
    std::vector<long long> x;           // n * nx, covariate value in units of 1e-5
    std::vector<int> c;                 // n * nc, level 1..3
    std::vector<int> status;            // case-control STATUS or binary TRAIT
    std::vector<long long> time;        // cohort TIME in units of 10^-tieDigits
    std::vector<int> event;             // cohort EVENT
    std::vector<long long> trait;       // continuous TRAIT in units of 1e-5
    std::vector<std::uint8_t> na;       // n * columns of phenotype.dat: 1 = written as NA

    // What happened, for truth.txt
    double intercept = 0.0;
    std::uint64_t screened = 0;   // population members examined (case-control)
    std::uint64_t populationCases = 0;
    double censoringRate = 0.0;   // cohort
    int censored = 0;
    int naEntries = 0;

    int columns() const;          // columns of phenotype.dat
};

// The coded genotype term G of the model (before its effect is applied).
double genotype_term(Mode mode, int copies);

Sample simulate_sample(const Options& opt, const Genome& g);

} // namespace sim
