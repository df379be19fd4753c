#include "sources.h"

#include "text.h"

#include <htslib/vcf.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <unordered_map>

namespace prepare {

void GenotypeSource::take_alleles(Skip verdict, std::string_view counted, std::string_view other) {
    first = verdict == Skip::None ? snp_letter(counted) : 0;
    second = verdict == Skip::None ? snp_letter(other) : 0;
    // Only two different upper-case letters make a SNP, whatever a reader let through.
    alleles = verdict == Skip::None && (!first || !second || first == second) ? Skip::OtherLetters : verdict;
}

namespace {

bool unique_samples(const std::vector<std::string>& s, const std::string& file, std::string& error) {
    std::unordered_map<std::string_view, std::size_t> seen;
    for (std::size_t i = 0; i < s.size(); ++i)
        if (!seen.emplace(s[i], i).second) {
            error = quote(file) + ": sample " + quote(s[i]) + " appears twice";
            return false;
        }
    return true;
}
} // namespace

// ---------------------------------------------------------------- VCF / BCF

struct VcfSource::Impl {
    htsFile* fp = nullptr;
    bcf_hdr_t* hdr = nullptr;
    bcf1_t* rec = nullptr;
    int32_t* gt = nullptr;
    int ngtMax = 0, ploidy = 0;
    std::uint64_t record = 0;
    std::array<std::string_view, 8> alts{};
    ~Impl() {
        std::free(gt);
        if (rec) bcf_destroy(rec);
        if (hdr) bcf_hdr_destroy(hdr);
        if (fp) hts_close(fp);
    }
};

VcfSource::VcfSource() : impl_(std::make_unique<Impl>()) {}
VcfSource::~VcfSource() = default;

bool VcfSource::open(const std::string& path) {
    file_ = path;
    hts_set_log_level(HTS_LOG_ERROR);
    Impl& m = *impl_;
    m.fp = hts_open(path.c_str(), "r");
    if (!m.fp) {
        error = quote(path) + ": cannot be opened (" + std::strerror(errno) + ")";
        return false;
    }
    const htsExactFormat f = hts_get_format(m.fp)->format;
    if (f != vcf && f != bcf) {
        error = quote(path) + ": not a VCF or BCF file";
        return false;
    }
    m.hdr = bcf_hdr_read(m.fp);
    if (!m.hdr) {
        error = quote(path) + ": the VCF header cannot be read (a malformed header line or a repeated sample name)";
        return false;
    }
    m.rec = bcf_init();
    const int n = bcf_hdr_nsamples(m.hdr);
    if (n == 0) {
        error = quote(path) + ": the file holds no samples";
        return false;
    }
    for (int i = 0; i < n; ++i) {
        // htslib takes an empty sample name (two tabs in a row) as the rest of the
        // #CHROM line, tabs and line end included.
        const std::string_view name(m.hdr->samples[i]);
        if (name.empty() || std::any_of(name.begin(), name.end(), [](char c) { return c == '\t' || c == '\n' || c == '\r'; })) {
            error = quote(path) + ": sample " + std::to_string(i + 1) +
                    " of the #CHROM line has an empty name (two tabs in a row or a tab at the line's end)";
            return false;
        }
        samples_.emplace_back(name);
    }
    return unique_samples(samples_, path, error);
}

std::string VcfSource::where() const {
    return quote(file_) + " record " + std::to_string(impl_->record) + " (" + std::string(chrom) + ":" +
           std::to_string(pos) + ")";
}

bool VcfSource::next() {
    Impl& m = *impl_;
    const int r = bcf_read(m.fp, m.hdr, m.rec);
    if (r == -1) return false;
    ++m.record;
    if (r < -1 || m.rec->errcode) {
        const int e = m.rec->errcode;
        error = quote(file_) + " record " + std::to_string(m.record) + ": not a valid VCF record" +
                ((e & BCF_ERR_NCOLS)       ? " (its number of columns differs from the header's samples)"
                 : (e & BCF_ERR_TAG_UNDEF) ? " (it uses a FORMAT or INFO field the header does not define)"
                 : (e & BCF_ERR_CTG_UNDEF) ? " (its chromosome is not defined in the header)"
                                           : "");
        return false;
    }
    if (m.rec->pos < 0) {
        error = quote(file_) + " record " + std::to_string(m.record) + ": the position is not a number from 1 on";
        return false;
    }
    bcf_unpack(m.rec, BCF_UN_STR);
    const char* seq = bcf_seqname(m.hdr, m.rec);
    chrom = seq ? std::string_view(seq) : std::string_view();
    if (chrom.empty()) {
        error = quote(file_) + " record " + std::to_string(m.record) + ": the chromosome name is empty";
        return false;
    }
    pos = static_cast<long long>(m.rec->pos) + 1;
    id = m.rec->d.id ? std::string_view(m.rec->d.id) : std::string_view(".");
    const int nAlt = m.rec->n_allele > 0 ? m.rec->n_allele - 1 : 0;
    const std::string_view ref = m.rec->n_allele > 0 ? std::string_view(m.rec->d.allele[0]) : std::string_view();
    int k = 0;
    for (; k < nAlt && k < static_cast<int>(m.alts.size()); ++k) m.alts[k] = m.rec->d.allele[k + 1];
    Skip verdict = m.rec->n_allele == 0 ? Skip::OtherLetters : classify_alleles(ref, m.alts.data(), k);
    if (verdict == Skip::None && nAlt > k) verdict = Skip::MultiAllelic;
    take_alleles(verdict, verdict == Skip::None ? m.alts[0] : std::string_view(), ref);
    return true;
}

bool VcfSource::genotypes() {
    Impl& m = *impl_;
    const int n = bcf_get_genotypes(m.hdr, m.rec, &m.gt, &m.ngtMax);
    if (n <= 0) {
        error = where() + ": no GT genotype field";
        return false;
    }
    m.ploidy = n / static_cast<int>(samples_.size());
    if (m.ploidy < 1) {
        error = where() + ": no GT genotype field";
        return false;
    }
    return true;
}

namespace {
// Alleles of one call; false for a call with another number of alleles than two.
// A lone '.' is a missing call, not a haploid one.
enum class Call { Ok, Missing, Haploid, Polyploid, BadAllele };

Call diploid(const int32_t* g, int ploidy, int& a, int& b, bool& phased) {
    if (ploidy < 2 || g[1] == bcf_int32_vector_end) {
        if (bcf_gt_is_missing(g[0])) return Call::Missing;
        return Call::Haploid;
    }
    if (ploidy > 2 && g[2] != bcf_int32_vector_end) return Call::Polyploid;
    if (bcf_gt_is_missing(g[0]) || bcf_gt_is_missing(g[1])) return Call::Missing;
    a = bcf_gt_allele(g[0]);
    b = bcf_gt_allele(g[1]);
    phased = bcf_gt_is_phased(g[1]);
    if (a < 0 || a > 1 || b < 0 || b > 1) return Call::BadAllele;
    return Call::Ok;
}
} // namespace

#define KP_CALL_PROBLEM(call, sample)                                                                              \
    do {                                                                                                           \
        const std::string who = " for sample " + quote(samples_[sample]);                                         \
        if ((call) == Call::Haploid)                                                                               \
            error = where() + ": haploid genotype call" + who +                                                    \
                    "; only diploid calls are read (write male X calls as homozygotes, e.g. 0/0 or 1/1)";         \
        else if ((call) == Call::Polyploid)                                                                        \
            error = where() + ": genotype call with more than two alleles" + who;                                  \
        else                                                                                                       \
            error = where() + ": genotype call names an allele the record does not have" + who;                   \
        return false;                                                                                              \
    } while (0)

bool VcfSource::codes(const std::vector<int>& pick, char* out) {
    if (!genotypes()) return false;
    const Impl& m = *impl_;
    for (std::size_t k = 0; k < pick.size(); ++k) {
        const int32_t* g = m.gt + static_cast<std::size_t>(pick[k]) * m.ploidy;
        int a = 0, b = 0;
        bool phased = false;
        const Call c = diploid(g, m.ploidy, a, b, phased);
        if (c == Call::Missing) out[k] = '9';
        else if (c == Call::Ok) out[k] = static_cast<char>('0' + a + b);
        else KP_CALL_PROBLEM(c, pick[k]);
    }
    return true;
}

bool VcfSource::panel_calls(const std::vector<int>& columns, const std::vector<int>& founders, char* codesOut,
                            char* hapsOut, bool& phasedAll) {
    if (!genotypes()) return false;
    const Impl& m = *impl_;
    if (!codes(columns, codesOut)) return false;
    phasedAll = true;
    for (std::size_t k = 0; k < founders.size(); ++k) {
        const int32_t* g = m.gt + static_cast<std::size_t>(founders[k]) * m.ploidy;
        int a = 0, b = 0;
        bool phased = false;
        const Call c = diploid(g, m.ploidy, a, b, phased);
        if (c != Call::Ok || !phased) {
            phasedAll = false;
            return true;
        }
        hapsOut[2 * k] = static_cast<char>('0' + a);
        hapsOut[2 * k + 1] = static_cast<char>('0' + b);
    }
    return true;
}

#undef KP_CALL_PROBLEM

// ---------------------------------------------------------------- PLINK 1 binary

PlinkSource::~PlinkSource() {
    if (bed_) std::fclose(bed_);
}

bool PlinkSource::open(const std::string& prefix) {
    file_ = prefix + ".bed";
    bedName_ = prefix + ".bed";
    bimName_ = prefix + ".bim";
    const std::string famName = prefix + ".fam";
    std::string famText, why;
    if (!read_file(famName, famText, why)) {
        error = quote(famName) + ": cannot be read (" + why + ")";
        return false;
    }
    LineReader lines(famText);
    std::string_view line;
    while (lines.next(line)) {
        if (is_blank_line(line)) continue;
        split_fields(line, Separator::Blanks, fields_);
        if (fields_.size() != 6) {
            error = quote(famName) + " line " + std::to_string(lines.number()) + ": " + std::to_string(fields_.size()) +
                    " fields where a .fam line has 6";
            return false;
        }
        samples_.emplace_back(fields_[1]);
    }
    if (samples_.empty()) {
        error = quote(famName) + ": the file lists no samples";
        return false;
    }
    if (!unique_samples(samples_, famName, error)) return false;
    if (!read_file(bimName_, bimText_, why)) {
        error = quote(bimName_) + ": cannot be read (" + why + ")";
        return false;
    }
    LineReader count(bimText_);
    while (count.next(line)) snps_ += is_blank_line(line) ? 0 : 1;
    bimLines_ = LineReader(bimText_);

    bed_ = std::fopen(bedName_.c_str(), "rb");
    if (!bed_) {
        error = quote(bedName_) + ": cannot be opened (" + std::strerror(errno) + ")";
        return false;
    }
    unsigned char magic[3] = {0, 0, 0};
    if (std::fread(magic, 1, 3, bed_) != 3 || magic[0] != 0x6c || magic[1] != 0x1b) {
        error = quote(bedName_) + ": not a PLINK 1 .bed file (its first bytes are not 6c 1b)";
        return false;
    }
    if (magic[2] != 0x01) {
        error = quote(bedName_) + ": individual-major .bed files are not read; convert with plink --make-bed";
        return false;
    }
    block_.resize((samples_.size() + 3) / 4);
    std::fseek(bed_, 0, SEEK_END);
    const long size = std::ftell(bed_);
    const std::uint64_t expected = 3 + snps_ * block_.size();
    if (size < 0 || static_cast<std::uint64_t>(size) != expected) {
        error = quote(bedName_) + ": " + std::to_string(size) + " bytes where " + std::to_string(snps_) + " SNPs of " +
                std::to_string(samples_.size()) + " samples take " + std::to_string(expected);
        return false;
    }
    std::fseek(bed_, 3, SEEK_SET);
    return true;
}

bool PlinkSource::next() {
    if (snp_ > 0 && !blockRead_ && std::fseek(bed_, static_cast<long>(block_.size()), SEEK_CUR) != 0) {
        error = quote(bedName_) + ": read error";
        return false;
    }
    std::string_view line;
    do {
        if (!bimLines_.next(line)) return false;
    } while (is_blank_line(line));
    split_fields(line, Separator::Blanks, fields_);
    const std::string where = quote(bimName_) + " line " + std::to_string(bimLines_.number());
    if (fields_.size() != 6) {
        error = where + ": " + std::to_string(fields_.size()) + " fields where a .bim line has 6";
        return false;
    }
    char* end = nullptr;
    const std::string p(fields_[3]);
    errno = 0;
    pos = std::strtoll(p.c_str(), &end, 10);
    if (end == p.c_str() || *end != '\0' || errno == ERANGE || pos < 1 || pos > 2147483647) {
        error = where + ": position '" + p + "' is not a whole number from 1 to 2147483647";
        return false;
    }
    chrom = fields_[0];
    id = fields_[1];
    const std::string_view a1 = fields_[4], a2 = fields_[5];
    take_alleles(a1 == "0" || a2 == "0" || a1 == "." || a2 == "." ? Skip::NoAlt : classify_alleles(a2, &a1, 1), a1, a2);
    ++snp_;
    blockRead_ = false;
    return true;
}

bool PlinkSource::codes(const std::vector<int>& pick, char* out) {
    if (std::fread(block_.data(), 1, block_.size(), bed_) != block_.size()) {
        error = quote(bedName_) + ": read error at SNP " + std::to_string(snp_);
        return false;
    }
    blockRead_ = true;
    // Two bits a sample, first sample in the lowest bits: 00 two copies of A1,
    // 01 missing, 10 one copy, 11 none.
    static constexpr char kCode[4] = {'2', '9', '1', '0'};
    for (std::size_t k = 0; k < pick.size(); ++k) {
        const int i = pick[k];
        out[k] = kCode[(block_[static_cast<std::size_t>(i) >> 2] >> ((i & 3) * 2)) & 3];
    }
    return true;
}

} // namespace prepare
