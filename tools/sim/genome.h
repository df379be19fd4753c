// The simulated chromosome: SNP map (positions, identifiers, allele letters),
// founder haplotypes with linkage disequilibrium, the study/panel composition
// of the map, the causal SNP, the layout of the external panel's families,
// and the haplotype generator. Every haplotype is a mosaic of founder
// haplotypes; its founder switches and noise flips are counter-based draws
// keyed by (haplotype, SNP), so a haplotype can be evaluated at any single SNP
// (for the causal genotype before the main pass) or streamed SNP by SNP, with
// identical results.
#pragma once

#include "options.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// How the panel names and counts a SNP relative to the study.
enum class Letters : std::uint8_t {
    Plain,       // same letters, same counted allele
    StrandFlag,  // study strand flag 1; panel letters as the study's, panel counts the other allele
    Swapped,     // panel letters in reversed order, panel counts its own first letter
    Ambiguous    // A/T or C/G in both files, coded consistently
};

struct Snp {
    std::string id;
    int pos = 0;
    double freq = 0.0;       // expected population frequency of allele 1 (the study's first letter)
    char letter1 = 'A';      // study letters; allele 1 is letter1
    char letter2 = 'G';
    bool typed = false;      // in genotype.dat
    bool inPanel = false;    // in external.dat
    bool phased = false;     // in haplotype.dat
    bool missing = false;    // typed with missing study genotypes
    Letters letters = Letters::Plain;

    // Does the panel count the other allele (codes 2-g, haplotype digits 1-a)?
    bool panel_turned() const { return letters == Letters::StrandFlag || letters == Letters::Swapped; }
    char panel_letter1() const { return letters == Letters::Swapped ? letter2 : letter1; }
    char panel_letter2() const { return letters == Letters::Swapped ? letter1 : letter2; }
};

// Haplotype identifiers: study population haplotypes are 2k and 2k+1 for
// population member k; panel haplotypes start here.
inline constexpr std::uint64_t kPanelHaplotypeBase = 1ULL << 48;

class Genome {
public:
    int founders = 0;
    std::vector<double> weight;                  // founder shares in the population
    std::vector<std::uint32_t> cumWeight;        // cumulative shares on a 16-bit scale
    std::vector<std::uint8_t> founderAllele;     // [snp * founders + founder], 1 = allele 1
    std::vector<std::uint32_t> switchThreshold;  // per SNP, on a 24-bit scale
    std::uint32_t noiseThreshold = 0;            // on a 24-bit scale
    std::uint64_t haplotypeKey = 0;
    std::vector<Snp> snp;
    int causal = -1;
    std::string causalChoice;  // how the causal SNP was chosen, for truth.txt
    int causalPartners = 0;    // SNPs within 50 kb with founder-level r2 >= 0.5 to the causal SNP
    double spacing = 0.0;      // mean spacing in effect

    // Start of a haplotype's counter-based draws.
    std::uint64_t haplotype_base(std::uint64_t hapId) const {
        return mix_base(haplotypeKey ^ (hapId * 0xC2B2AE3D27D4EB4FULL));
    }
    // Founder carried by a haplotype at SNP j (walks back to its last switch).
    int founder_at(std::uint64_t base, int j) const;
    // Allele (1 = allele 1) of a haplotype at SNP j.
    int allele_at(std::uint64_t base, int j) const;

    int size() const { return static_cast<int>(snp.size()); }

    // Counter-based draw of a haplotype at SNP j:
    //   bits 40..63 decide a founder switch before SNP j,
    //   bits 24..39 choose the new founder, bits 0..23 decide a noise flip.
    static std::uint64_t draw(std::uint64_t base, int j);
    int pick_founder(std::uint64_t u) const;

private:
    static std::uint64_t mix_base(std::uint64_t x);
};

// Builds the map, the founders and the composition from the options; exits
// with a message on impossible requests.
Genome build_genome(const Options& opt);

// Streams a fixed set of haplotypes along the map, one SNP at a time.
class HaplotypeStream {
public:
    HaplotypeStream(const Genome& g, const std::vector<std::uint64_t>& hapIds);
    // Fills alleles[h] (0/1) for SNP j; call with j = 0, 1, 2, ... in order.
    void advance(int j, std::uint8_t* alleles);
    std::size_t size() const { return base_.size(); }

private:
    const Genome& g_;
    std::vector<std::uint64_t> base_;
    std::vector<std::uint8_t> state_;
};

// The external panel: family members as pairs of panel haplotypes.
struct PanelLayout {
    int writtenHaplotypes = 0;  // columns of haplotype.dat: founders of trios, duos and singletons
    int totalHaplotypes = 0;    // plus one untyped-parent haplotype per duo
    // Per panel column (trio parent 1, parent 2, child; duo parent, child; singleton):
    // indices of its two haplotypes among the panel haplotypes.
    std::vector<std::array<int, 2>> member;
};

PanelLayout build_panel(const Options& opt);

} // namespace sim
