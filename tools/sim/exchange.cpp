// VCF, PLINK, pedigree and phenotype-table files of the simulated data (see exchange.h).
#include "exchange.h"

#include "random.h"

#include <numeric>

namespace sim {

namespace {

constexpr const char* kVcfHead =
    "##fileformat=VCFv4.2\n"
    "##source=kestrova-sim\n"
    "##contig=<ID=1>\n"
    "##FORMAT=<ID=GT,Number=1,Type=String,Description=\"Genotype\">\n"
    "#CHROM\tPOS\tID\tREF\tALT\tQUAL\tFILTER\tINFO\tFORMAT";

// Row order of phenotypes.txt.
constexpr std::uint64_t kTagTableOrder = 101;

void vcf_site(std::string& line, const Snp& snp, char ref, char alt) {
    line = "1\t";
    line += std::to_string(snp.pos);
    line += '\t';
    line += snp.id;
    line += '\t';
    line += ref;
    line += '\t';
    line += alt;
    line += "\t.\tPASS\t.\tGT";
}

// prefix, number, suffix: S12, T3F.
std::string name(const char* prefix, int i, const char* suffix = "") {
    std::string s(prefix);
    s += std::to_string(i);
    s += suffix;
    return s;
}

// A pedigree line: family, person, father, mother, sex, phenotype -9.
void fam_line(OutFile& out, const std::string& fam, const std::string& id, const std::string& father,
              const std::string& mother, char sex) {
    for (const std::string* w : {&fam, &id, &father, &mother}) {
        out.put(*w);
        out.put(' ');
    }
    out.put(sex);
    out.put(" -9\n");
}

} // namespace

std::string study_sample(int i) { return name("S", i + 1); }

std::vector<std::string> panel_samples(const Options& opt) {
    std::vector<std::string> v;
    for (int t = 1; t <= opt.trios; ++t)
        for (const char* r : {"F", "M", "C"}) v.push_back(name("T", t, r));
    for (int d = 1; d <= opt.duos; ++d)
        for (const char* r : {"P", "C"}) v.push_back(name("D", d, r));
    for (int u = 1; u <= opt.singletons; ++u) v.push_back(name("U", u));
    return v;
}

ExchangeFiles::ExchangeFiles(const Options& opt, const PanelLayout& panel, const Sample& s, const std::string& dir)
    : panel_(panel), n_(s.n), studyVcf_(dir + "/study.vcf", 16u << 20), bed_(dir + "/study.bed", 4u << 20),
      bim_(dir + "/study.bim", 1u << 20), panelVcf_(dir + "/panel.vcf", 4u << 20), block_((s.n + 3) / 4) {
    studyVcf_.put(kVcfHead);
    for (int i = 0; i < n_; ++i) {
        studyVcf_.put('\t');
        studyVcf_.put(study_sample(i));
    }
    studyVcf_.put('\n');
    panelVcf_.put(kVcfHead);
    for (const std::string& name : panel_samples(opt)) {
        panelVcf_.put('\t');
        panelVcf_.put(name);
    }
    panelVcf_.put('\n');
    bed_.put(std::string_view("\x6c\x1b\x01", 3));
    OutFile fam(dir + "/study.fam", 1u << 20);
    for (int i = 0; i < n_; ++i) {
        const std::string id = study_sample(i), none = "0";
        fam_line(fam, id, id, none, none, '0');
    }
    fam.close();
}

void ExchangeFiles::study_snp(const Snp& snp, const char* codes) {
    // VCF: REF is the study's second letter, ALT its first; a missing call is
    // written whole or, every second time, half-missing.
    vcf_site(line_, snp, snp.letter2, snp.letter1);
    int missing = 0;
    for (int i = 0; i < n_; ++i) {
        switch (codes[i]) {
        case '0': line_ += "\t0/0"; break;
        case '1': line_ += "\t0/1"; break;
        case '2': line_ += "\t1/1"; break;
        default: line_ += (missing++ % 2) ? "\t./1" : "\t./."; break;
        }
    }
    line_ += '\n';
    studyVcf_.put(line_);

    // PLINK: A1 the first letter; two bits a sample, 00 two copies of A1,
    // 01 missing, 10 one copy, 11 none.
    bim_.put("1 ");
    bim_.put(snp.id);
    bim_.put(" 0 ");
    bim_.put_int(snp.pos);
    bim_.put(' ');
    bim_.put(snp.letter1);
    bim_.put(' ');
    bim_.put(snp.letter2);
    bim_.put('\n');
    std::fill(block_.begin(), block_.end(), 0);
    for (int i = 0; i < n_; ++i) {
        const unsigned bits = codes[i] == '2' ? 0u : codes[i] == '1' ? 2u : codes[i] == '0' ? 3u : 1u;
        block_[static_cast<std::size_t>(i) / 4] |= static_cast<unsigned char>(bits << ((i % 4) * 2));
    }
    bed_.put(std::string_view(reinterpret_cast<const char*>(block_.data()), block_.size()));
}

void ExchangeFiles::panel_snp(const Snp& snp, const std::uint8_t* alleles, const char* codes) {
    // REF is the panel's second letter, ALT its first; allele 1 of the
    // haplotypes is ALT unless the panel counts the other allele.
    vcf_site(line_, snp, snp.panel_letter2(), snp.panel_letter1());
    const std::uint8_t flip = snp.panel_turned() ? 1 : 0;
    const char sep = snp.phased ? '|' : '/';
    for (std::size_t m = 0; m < panel_.member.size(); ++m) {
        line_ += '\t';
        if (codes[m] == '9') {
            line_ += ".";
            line_ += sep;
            line_ += ".";
            continue;
        }
        line_ += static_cast<char>('0' + (alleles[panel_.member[m][0]] ^ flip));
        line_ += sep;
        line_ += static_cast<char>('0' + (alleles[panel_.member[m][1]] ^ flip));
    }
    line_ += '\n';
    panelVcf_.put(line_);
}

void ExchangeFiles::close() {
    studyVcf_.close();
    bed_.close();
    bim_.close();
    panelVcf_.close();
}

void write_phenotype_table(const Options& opt, const Sample& s, const std::string& path) {
    std::vector<int> order(static_cast<std::size_t>(s.n));
    std::iota(order.begin(), order.end(), 0);
    Stream rng(opt.seed, kTagTableOrder, 0);
    for (int i = s.n - 1; i > 0; --i)
        std::swap(order[static_cast<std::size_t>(i)], order[rng.below(static_cast<std::uint64_t>(i) + 1)]);
    OutFile out(path, 1 << 20);
    out.put("FID IID ");
    out.put(phenotype_header(opt));
    out.put('\n');
    for (int i : order) {
        const std::string id = study_sample(i);
        out.put(id);
        out.put(' ');
        out.put(id);
        out.put(' ');
        put_phenotype_row(out, opt, s, i);
        out.put('\n');
    }
    out.close();
}

void write_pedigree(const Options& opt, const std::string& path) {
    OutFile out(path, 1 << 16);
    const std::string none = "0";
    for (int t = 1; t <= opt.trios; ++t) {
        const std::string fam = name("FAMT", t), fa = name("T", t, "F"), mo = name("T", t, "M");
        fam_line(out, fam, fa, none, none, '1');
        fam_line(out, fam, mo, none, none, '2');
        fam_line(out, fam, name("T", t, "C"), fa, mo, '0');
    }
    for (int d = 1; d <= opt.duos; ++d) {  // the child's other parent is not in panel.vcf
        const std::string fam = name("FAMD", d), pa = name("D", d, "P"), other = name("D", d, "X");
        fam_line(out, fam, pa, none, none, '1');
        fam_line(out, fam, other, none, none, '2');
        fam_line(out, fam, name("D", d, "C"), pa, other, '0');
    }
    for (int u = 1; u <= opt.singletons; ++u) fam_line(out, name("FAMU", u), name("U", u), none, none, '0');
    out.close();
}

} // namespace sim
