// Run settings of kestrova-sim: every command-line option with its default,
// and the small enumerations used by the other units.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

enum class Design { CaseControl, Cohort, CrossSectional };
enum class Mode { Additive, Recessive, Dominant, Codominant };
enum class Trait { Continuous, Binary };

const char* design_name(Design d);
const char* mode_name(Mode m);
const char* trait_name(Trait t);

struct Options {
    // Output
    std::string out = ".";
    std::uint64_t seed = 1;

    // Map and linkage disequilibrium
    int snps = 60;
    double spacing = 5000.0;
    bool spacingGiven = false;
    long long start = 1000000;
    int founders = 8;
    double recomb = 1e-5;      // founder switches per base pair
    double noise = 0.001;      // per-allele mutation / noise rate

    // Map composition
    double typedShare = 0.67;
    int studyOnly = 2;
    int unphased = 0;
    double missingShare = 0.2;
    double missingRate = 0.05;
    double panelMissing = 0.0;
    int strandFlags = 0;
    int swapLetters = 0;
    int ambiguous = 0;

    // External panel
    int trios = 30;
    int duos = 10;
    int singletons = 60;

    // Study design and response
    Design design = Design::CaseControl;
    int cases = 500;
    int controls = 500;
    int subjects = 1000;
    double prevalence = -1.0;  // < 0: design default (0.05 disease, 0.3 binary trait)
    double censoring = 0.3;
    int tieDigits = 4;
    Trait trait = Trait::Continuous;
    double sigma = 1.0;

    // Genetic effect
    double effect = 0.5;
    Mode mode = Mode::Additive;
    std::string causal;        // identifier or 1-based map index; empty: automatic
    bool causalUntyped = false;

    // Covariates
    int covariates = 0;
    int categorical = 0;
    double covariateEffect = 0.3;
    bool dependent = false;
    double dependence = 0.5;   // log odds per copy for the dependent covariate's levels
    double interaction = 0.0;  // effect of G*X1
    double missingPhenotypes = 0.0;

    // Model words written to specification.txt (empty: derived)
    std::string model;
    std::string output;

    // Also write the VCF, PLINK, pedigree and phenotype-table files
    bool exchange = false;

    // The command line, for the record in truth.txt
    std::string commandLine;

    double effective_prevalence() const {
        if (prevalence > 0.0) return prevalence;
        return design == Design::CaseControl ? 0.05 : 0.3;
    }
    int sample_size() const { return design == Design::CaseControl ? cases + controls : subjects; }
};

// Prints "kestrova-sim: <message>" on standard error and exits with status 1.
[[noreturn]] void fail(const std::string& message);

} // namespace sim
