// Which records become SNPs of the prepared files: biallelic SNPs only, on the
// chromosomes and in the region asked for, in ascending position, one SNP a
// position, each with a short identifier unique within its chromosome.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

namespace prepare {

// Why a record is not used (None: it is a SNP to keep).
enum class Skip { None, OtherChromosome, Region, NoAlt, Symbolic, MultiAllelic, Indel, OtherLetters, Unsorted, Duplicate };

struct SiteCounts {
    std::uint64_t records = 0, kept = 0, renamed = 0;
    std::uint64_t otherChromosome = 0, region = 0, noAlt = 0, symbolic = 0, multiAllelic = 0, indel = 0,
                  otherLetters = 0, unsorted = 0, duplicate = 0;
    void count(Skip why);
};

// The letter of a one-base allele (upper case), or 0.
char snp_letter(std::string_view allele);
// Verdict on a record's alleles: ref, then the ALT alleles (none for ALT '.').
Skip classify_alleles(std::string_view ref, const std::string_view* alts, int nAlt);

// Chromosome name used to match the study, the panel and --chr: without a
// leading "chr", "M" as "MT", and PLINK's 23..26 as X, Y, XY, MT.
std::string chromosome_key(std::string_view name);

// Longest SNP identifier the analysis reads.
inline constexpr std::size_t kIdWidth = 29;

struct Selection {
    std::string chromosome;  // key; empty: all
    long long from = 0, to = 0;  // to = 0: no region
};

// A SNP on its way to the output, with its formatted lines.
struct Kept {
    std::string chrom, key;
    long long pos = 0;
    std::string id, originalId;  // originalId: non-empty when id was renamed
    char first = 0, second = 0;
    std::string line, hapLine;   // hapLine empty: no haplotype record
};

// Decides record by record, in file order. A SNP is held back until the next
// SNP shows that its position is not repeated; then it goes to `emit`.
class SiteFilter {
public:
    SiteFilter(Selection sel, std::function<void(Kept&)> emit) : sel_(std::move(sel)), emit_(std::move(emit)) {}
    // Skip::None: call name() with the record's identifier, fill slot()'s lines
    // and the letters, then call hold().
    Skip check(std::string_view chrom, long long pos, Skip alleles);
    // The identifier the SNP is written with: its own, or chromosome:position
    // (the chromosome as chromosome_key names it) when it is missing, too long
    // or already used on the chromosome.
    const std::string& name(std::string_view id);
    Kept& slot() { return slot_; }
    void hold();
    void finish();  // at the end of the input
    const SiteCounts& counts() const { return counts_; }

private:
    void release();
    Selection sel_;
    std::function<void(Kept&)> emit_;
    SiteCounts counts_;
    std::string chromKey_;
    std::unordered_set<std::string> doneChromosomes_, ids_;
    long long lastPos_ = -1, lastSnpPos_ = -1;
    bool pending_ = false, pendingDup_ = false;
    Kept held_, slot_;
};

} // namespace prepare
