// Output files: specification.txt, phenotype.dat, the SNP-by-SNP pass that
// writes genotype.dat, external.dat and haplotype.dat, and truth.txt; plus
// the buffered file writer they share and the model words of the
// specification file.
#pragma once

#include "genome.h"
#include "options.h"
#include "phenotypes.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

// Buffered writer: lines are assembled in memory and written with fwrite.
class OutFile {
public:
    OutFile(const std::string& path, std::size_t bufferBytes);
    ~OutFile();
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    void put(char c) {
        if (len_ == buf_.size()) flush();
        buf_[len_++] = c;
    }
    void put(std::string_view s);
    void put_int(long long v);
    // Fixed-point number given in units of 10^-decimals.
    void put_fixed(long long units, int decimals);
    // Room for n characters at the end of the buffer; commit what was used.
    char* reserve(std::size_t n);
    void commit(std::size_t n) { len_ += n; }
    void close();
    std::uint64_t bytes() const { return written_ + len_; }

private:
    void flush();
    std::string path_;
    std::FILE* f_ = nullptr;
    std::vector<char> buf_;
    std::size_t len_ = 0;
    std::uint64_t written_ = 0;
};

// EFFECT and OUTPUT words of specification.txt.
struct ModelWords {
    std::vector<std::string> effect;
    std::vector<std::string> output;
};

// Derives or checks the model words (exits with a message on bad --model/--output).
ModelWords model_words(const Options& opt);

// Header of phenotype.dat (exits if longer than the analysis program reads).
std::string phenotype_header(const Options& opt);

void write_specification_file(const Options& opt, const ModelWords& words, const std::string& path);
void write_phenotypes(const Options& opt, const Sample& s, const std::string& path);
// One subject's line of phenotype.dat, without its line end.
void put_phenotype_row(OutFile& out, const Options& opt, const Sample& s, int i);

class ExchangeFiles;

// Counts gathered while the genotype and panel files are written.
struct MapStats {
    std::uint64_t studyMissingCodes = 0;
    std::uint64_t panelMissingCodes = 0;
    std::uint64_t genotypeBytes = 0;
    std::uint64_t externalBytes = 0;
    std::uint64_t haplotypeBytes = 0;
    double causalStudyFreq = -1.0;  // realised allele-1 frequency at the causal SNP, study
    double causalPanelFreq = -1.0;  // same in the panel (counted as allele 1, whatever the panel letters)
    // Realised allele-1 frequencies of the strand-ambiguous SNPs: study, panel.
    std::vector<int> ambiguousSnp;
    std::vector<double> ambiguousStudy, ambiguousPanel;
};

// exchange: also receives every SNP for the VCF and PLINK files (may be null).
MapStats write_map_files(const Options& opt, const Genome& g, const PanelLayout& panel, const Sample& s,
                         const std::string& dir, ExchangeFiles* exchange);

void write_truth(const Options& opt, const Genome& g, const PanelLayout& panel, const Sample& s,
                 const ModelWords& words, const MapStats& stats, const std::string& path);

} // namespace sim
