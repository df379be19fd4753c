// Genotype files read record by record: VCF or BCF (plain or bgzipped, through
// htslib) and PLINK 1 binary .bed/.bim/.fam (SNP-major). A genotype code is the
// number of copies of the record's first letter: VCF's ALT (REF second), PLINK's
// A1 (A2 second); 9 is missing. Readers print nothing; a problem leaves its
// message in `error` and makes next() or the decoding call return false.
#pragma once

#include "sites.h"
#include "text.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace prepare {

class GenotypeSource {
public:
    virtual ~GenotypeSource() = default;
    const std::vector<std::string>& samples() const { return samples_; }
    const std::string& file() const { return file_; }
    // The next record; false at the end of the file or on a problem (error set).
    virtual bool next() = 0;
    // Codes ('0', '1', '2', '9') of the current record for the samples picked, in that order.
    virtual bool codes(const std::vector<int>& pick, char* out) = 0;

    // The current record.
    std::string_view chrom, id;
    long long pos = 0;
    Skip alleles = Skip::None;   // verdict on the alleles
    char first = 0, second = 0;  // letters when alleles is Skip::None
    std::string error;

protected:
    // Sets alleles, first and second from a reader's verdict on the record's alleles and
    // its counted and other allele: the one place where allele letters are normalised.
    void take_alleles(Skip verdict, std::string_view counted, std::string_view other);
    std::vector<std::string> samples_;
    std::string file_;
};

// VCF or BCF through htslib.
class VcfSource : public GenotypeSource {
public:
    VcfSource();
    ~VcfSource() override;
    bool open(const std::string& path);
    bool next() override;
    bool codes(const std::vector<int>& pick, char* out) override;
    // Panel calls of the current record: codes of the panel columns, and the
    // two alleles ('0' REF, '1' ALT) of each founder; false with error set on a
    // problem. phased is false when a founder's call is unphased or missing.
    bool panel_calls(const std::vector<int>& columns, const std::vector<int>& founders, char* codesOut,
                     char* hapsOut, bool& phased);

private:
    bool genotypes();
    std::string where() const;
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// PLINK 1 binary fileset prefix.bed, prefix.bim, prefix.fam.
class PlinkSource : public GenotypeSource {
public:
    ~PlinkSource() override;
    bool open(const std::string& prefix);
    bool next() override;
    bool codes(const std::vector<int>& pick, char* out) override;

private:
    std::string bimText_, bimName_, bedName_;
    LineReader bimLines_{std::string_view()};
    std::FILE* bed_ = nullptr;
    std::vector<unsigned char> block_;
    bool blockRead_ = false;
    std::uint64_t snps_ = 0, snp_ = 0;
    std::vector<std::string_view> fields_;
};

} // namespace prepare
