#include "run.h"

#include "pedigree.h"
#include "sites.h"
#include "sources.h"
#include "staging.h"
#include "text.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <memory>

namespace prepare {

namespace {

struct Letters {
    long long pos;
    char first, second;
};

// What one chromosome folder receives.
struct Chromosome {
    std::string name, dir;
    StagedFile* genotype = nullptr;
    StagedFile* external = nullptr;
    StagedFile* haplotype = nullptr;
    std::vector<Letters> study, panel;
    std::uint64_t haplotypes = 0, unphased = 0;
    std::string renamed;  // lines of snp_names.txt
};

std::string folder_name(const std::string& chrom) {
    std::string s = chrom;
    for (char& c : s)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_' || c == '-')) c = '_';
    if (s.empty() || s[0] == '.') s = "chr" + s;
    return s;
}

bool parse_region(const std::string& r, Selection& sel) {
    const auto dash = r.find('-');
    if (dash == std::string::npos) return false;
    const std::string a = r.substr(0, dash), b = r.substr(dash + 1);
    char* end = nullptr;
    errno = 0;
    sel.from = std::strtoll(a.c_str(), &end, 10);
    if (a.empty() || *end || errno) return false;
    sel.to = std::strtoll(b.c_str(), &end, 10);
    if (b.empty() || *end || errno) return false;
    return sel.from >= 1 && sel.to >= sel.from;
}

// Reads a source record by record through the filter; build() writes a kept
// SNP's lines. Returns false with the error message set.
template <class Build>
bool convert(GenotypeSource& src, SiteFilter& filter, const std::string& emitError, Build build, std::string& error) {
    while (src.next()) {
        if (filter.check(src.chrom, src.pos, src.alleles) != Skip::None) continue;
        const std::string& id = filter.name(src.id);
        Kept& k = filter.slot();
        k.first = src.first;
        k.second = src.second;
        if (!build(id, k)) {
            error = src.error;
            return false;
        }
        filter.hold();
        if (!emitError.empty()) {
            error = emitError;
            return false;
        }
    }
    if (!src.error.empty()) {
        error = src.error;
        return false;
    }
    filter.finish();
    error = emitError;
    return error.empty();
}

// Start of a line of genotype.dat (with its strand flag 0) or external.dat:
// identifier, position, the two letters.
void begin_line(std::string& line, const std::string& id, const Kept& k, bool strandFlag) {
    line += id;
    line += ' ';
    line += std::to_string(k.pos);
    line += strandFlag ? " 0 " : " ";
    line += k.first;
    line += ' ';
    line += k.second;
}

void append_codes(std::string& line, const char* codes, std::size_t n) {
    const std::size_t at = line.size();
    line.resize(at + 2 * n + 1);
    char* p = line.data() + at;
    for (std::size_t i = 0; i < n; ++i) {
        *p++ = ' ';
        *p++ = codes[i];
    }
    *p = '\n';
}

std::string site_summary(const SiteCounts& c) {
    std::string s = std::to_string(c.records) + " records, " + std::to_string(c.kept) + " biallelic SNPs kept";
    const std::pair<std::uint64_t, const char*> parts[] = {
        {c.multiAllelic, "multi-allelic"},
        {c.indel, "indels"},
        {c.symbolic, "symbolic or '*' alleles"},
        {c.noAlt, "without a second allele"},
        {c.otherLetters, "alleles other than A, C, G, T"},
        {c.duplicate, "at a repeated position"},
        {c.unsorted, "out of order"},
        {c.region, "outside --region"},
        {c.otherChromosome, "on other chromosomes than --chr"}};
    std::string skipped;
    for (const auto& [n, what] : parts)
        if (n) skipped += (skipped.empty() ? "" : ", ") + std::to_string(n) + " " + what;
    s += skipped.empty() ? "; none skipped" : "; skipped: " + skipped;
    if (c.renamed) s += "; " + std::to_string(c.renamed) + " identifiers renamed (see snp_names.txt)";
    return s;
}

// The study samples that have a phenotype row, in the genotype file's order.
struct Samples {
    std::vector<int> pick;     // indices in the genotype file
    std::string rows;          // their lines of phenotype.dat
    std::size_t noResponse = 0;
};

Samples match_samples(const std::vector<std::string>& genotyped, const PhenotypeTable& table) {
    Samples m;
    for (std::size_t i = 0; i < genotyped.size(); ++i) {
        const auto it = table.row.find(genotyped[i]);
        if (it == table.row.end()) continue;
        const auto r = static_cast<std::size_t>(it->second);
        m.pick.push_back(static_cast<int>(i));
        m.rows += table.rows[r] + "\n";
        m.noResponse += static_cast<std::size_t>(table.noResponse[r]);
    }
    return m;
}

// Positions shared by study and panel, and how their letters compare.
struct Shared {
    std::uint64_t positions = 0, ambiguous = 0, otherStrand = 0, otherPair = 0;
};

char complement(char x) { return x == 'A' ? 'T' : x == 'T' ? 'A' : x == 'C' ? 'G' : 'C'; }

Shared compare_letters(const std::vector<Letters>& study, const std::vector<Letters>& panel) {
    Shared s;
    for (std::size_t i = 0, j = 0; i < study.size() && j < panel.size();) {
        if (study[i].pos < panel[j].pos) {
            ++i;
        } else if (study[i].pos > panel[j].pos) {
            ++j;
        } else {
            const Letters &a = study[i++], &b = panel[j++];
            ++s.positions;
            const bool at = (a.first == 'A' && a.second == 'T') || (a.first == 'T' && a.second == 'A');
            const bool cg = (a.first == 'C' && a.second == 'G') || (a.first == 'G' && a.second == 'C');
            if (at || cg) ++s.ambiguous;
            const bool same = (a.first == b.first && a.second == b.second) || (a.first == b.second && a.second == b.first);
            const char f = complement(a.first), g = complement(a.second);
            const bool flipped = (f == b.first && g == b.second) || (f == b.second && g == b.first);
            if (!same) ++(flipped ? s.otherStrand : s.otherPair);
        }
    }
    return s;
}

// The output folders, filled SNP by SNP from the study and then from the panel.
class Folders {
public:
    explicit Folders(std::string out) : out_(std::move(out)) {}

    void study_snp(const Kept& k) {
        Chromosome& c = chromosomes_[k.key];
        if (!c.genotype) {
            c.name = k.chrom;
            c.dir = out_ + "/" + folder_name(k.key);
            order_.push_back(k.key);
            if (!(c.genotype = staging_.open(c.dir, "genotype.dat", error_))) return;
        }
        write(c.genotype, k.line);
        c.study.push_back({k.pos, k.first, k.second});
        rename_note(c, k, " study\n");
    }

    void panel_snp(const Kept& k) {
        const auto it = chromosomes_.find(k.key);
        if (it == chromosomes_.end()) {
            ++panelElsewhere_;
            return;
        }
        Chromosome& c = it->second;
        if (!c.external) {
            if (!(c.external = staging_.open(c.dir, "external.dat", error_))) return;
            if (!(c.haplotype = staging_.open(c.dir, "haplotype.dat", error_))) return;
        }
        write(c.external, k.line);
        if (k.hapLine.empty()) {
            ++c.unphased;
        } else {
            write(c.haplotype, k.hapLine);
            ++c.haplotypes;
        }
        c.panel.push_back({k.pos, k.first, k.second});
        rename_note(c, k, " panel\n");
    }

    // Adds the files written as a whole, or drops a chromosome without a usable
    // panel; the report's line per chromosome goes to notes. Then renames all.
    std::string finish(bool withPanel, const std::string& pheno, const std::string& model_text, std::string& notes,
                       std::string& written) {
        for (const std::string& key : order_) {
            Chromosome& c = chromosomes_[key];
            std::string line = "Chromosome " + c.name + ": " + std::to_string(c.study.size()) + " study SNPs";
            if (withPanel) {
                const Shared sh = compare_letters(c.study, c.panel);
                line += ", " + std::to_string(c.panel.size()) + " panel SNPs (" + std::to_string(c.haplotypes) +
                        " with haplotypes, " + std::to_string(c.unphased) +
                        " without: a founder's call unphased or missing); " + std::to_string(sh.positions) +
                        " positions shared, " + std::to_string(sh.ambiguous) + " of them A/T or C/G (strand-ambiguous)";
                if (sh.otherStrand)
                    line += ", " + std::to_string(sh.otherStrand) + " with complementary letters (other strand)";
                if (sh.otherPair) line += ", " + std::to_string(sh.otherPair) + " with other alleles in the panel";
                if (c.haplotypes == 0) {
                    for (StagedFile* f : {c.genotype, c.external, c.haplotype})
                        if (f) staging_.drop(f);
                    notes += line + "; not written: no panel SNP with phased haplotypes\n";
                    continue;
                }
            }
            // snp_names.txt is always written, so that no list of an earlier run stays beside the new files.
            for (const auto& [name, text] : {std::pair<const char*, std::string>{"phenotype.dat", pheno},
                                             {"specification.txt", model_text},
                                             {"snp_names.txt", "name position original_identifier file\n" + c.renamed}})
                if (StagedFile* f = staging_.open(c.dir, name, error_)) write(f, text);
            if (!error_.empty()) return error_;
            notes += line + " -> " + quote(c.dir) + "\n";
            written += (written.empty() ? "" : " ") + c.dir;
        }
        if (written.empty()) return "nothing written: no chromosome has panel SNPs with phased haplotypes";
        staging_.commit(error_);
        return error_;
    }

    bool empty() const { return order_.empty(); }
    const std::string& error() const { return error_; }
    std::uint64_t panel_elsewhere() const { return panelElsewhere_; }

private:
    void write(StagedFile* f, std::string_view text) {
        if (!f->write(text) && error_.empty()) error_ = "write error on " + quote(f->temp_path());
    }
    static void rename_note(Chromosome& c, const Kept& k, const char* file) {
        if (!k.originalId.empty()) c.renamed += k.id + " " + std::to_string(k.pos) + " " + k.originalId + file;
    }

    std::string out_;
    Staging staging_;
    std::map<std::string, Chromosome> chromosomes_;  // by chromosome key
    std::vector<std::string> order_;                 // keys in the study's order
    std::uint64_t panelElsewhere_ = 0;
    std::string error_;
};

std::string cannot_read(const std::string& file, const std::string& why) {
    return quote(file) + ": cannot be read (" + why + ")";
}

} // namespace

std::string run(const Settings& s, std::string& report) {
    report.clear();
    // ---- model and phenotype table, checked before any genotype is read
    ModelRequest model = s.model;
    std::string text, why;
    if (!s.modelFile.empty()) {
        if (!read_file(s.modelFile, text, why)) return cannot_read(s.modelFile, why);
        if (std::string e = read_model_file(text, s.modelFile, model); !e.empty()) return e;
    }
    TableRequest req = s.table;
    if (!s.covariatesGiven) req.covariates = covariates_of(model);
    if (!read_file(s.phenotypes, text, why)) return cannot_read(s.phenotypes, why);
    const PhenotypeTable table = read_phenotype_table(text, s.phenotypes, req);
    if (!table.error.empty()) return table.error;
    if (std::string e = check_model(model, req.response, req.covariates); !e.empty())
        return s.modelFile.empty() ? e : quote(s.modelFile) + ": " + e;
    Selection sel;
    sel.chromosome = s.chromosome.empty() ? "" : chromosome_key(s.chromosome);
    if (!s.region.empty() && !parse_region(s.region, sel))
        return "--region " + quote(s.region) + ": expected FROM-TO, two positions with FROM >= 1 and TO >= FROM";

    // ---- study samples, panel families
    std::unique_ptr<GenotypeSource> study;
    if (!s.vcf.empty()) {
        auto v = std::make_unique<VcfSource>();
        if (!v->open(s.vcf)) return v->error;
        study = std::move(v);
    } else {
        auto p = std::make_unique<PlinkSource>();
        if (!p->open(s.bfile)) return p->error;
        study = std::move(p);
    }
    const Samples samples = match_samples(study->samples(), table);
    if (samples.pick.empty())
        return quote(study->file()) + ": none of its " + std::to_string(study->samples().size()) +
               " samples has a row in " + quote(s.phenotypes) + " (matched by the sample ID column)";
    std::unique_ptr<VcfSource> panel;
    PanelFamilies fam;
    if (!s.panel.empty()) {
        if (!read_file(s.pedigree, text, why)) return cannot_read(s.pedigree, why);
        const Pedigree ped = read_pedigree(text, s.pedigree);
        if (!ped.error.empty()) return ped.error;
        panel = std::make_unique<VcfSource>();
        if (!panel->open(s.panel)) return panel->error;
        fam = choose_families(ped, panel->samples());
    }

    // ---- genotypes: the study, then the panel
    Folders folders(s.out);
    std::vector<char> codes(std::max(samples.pick.size(), fam.column.size()));
    std::string error;
    SiteFilter studyFilter(sel, [&](Kept& k) { folders.study_snp(k); });
    const auto studyLine = [&](const std::string& id, Kept& k) {
        if (!study->codes(samples.pick, codes.data())) return false;
        begin_line(k.line, id, k, true);
        append_codes(k.line, codes.data(), samples.pick.size());
        return true;
    };
    if (!convert(*study, studyFilter, folders.error(), studyLine, error)) return error;
    if (folders.empty())
        return quote(study->file()) + ": no biallelic SNP to write (" + site_summary(studyFilter.counts()) + ")";

    SiteFilter panelFilter(sel, [&](Kept& k) { folders.panel_snp(k); });
    if (panel) {
        std::vector<char> haps(2 * fam.founders.size());
        const auto panelLines = [&](const std::string& id, Kept& k) {
            bool phased = false;
            if (!panel->panel_calls(fam.column, fam.founders, codes.data(), haps.data(), phased)) return false;
            begin_line(k.line, id, k, false);
            append_codes(k.line, codes.data(), fam.column.size());
            if (phased) {
                k.hapLine = id;
                append_codes(k.hapLine, haps.data(), haps.size());
            }
            return true;
        };
        if (!convert(*panel, panelFilter, folders.error(), panelLines, error)) return error;
    }

    // ---- the files written as a whole, then every file under its name
    const int panelCounts[3] = {fam.trios, fam.duos, fam.singletons};
    std::string notes, written;
    if (std::string e = folders.finish(panel != nullptr, table.header + "\n" + samples.rows,
                                       model_file_text(model, panel ? panelCounts : nullptr), notes, written);
        !e.empty())
        return e;

    // ---- report
    const std::size_t nStudy = study->samples().size(), nPick = samples.pick.size();
    report += "kestrova-prepare: study " + quote(study->file()) + ", phenotypes " + quote(s.phenotypes);
    if (panel) report += ", panel " + quote(s.panel) + " with pedigree " + quote(s.pedigree);
    report += "\n";
    report += "Samples: " + std::to_string(nStudy) + " genotyped, " + std::to_string(nPick) +
              " matched with a phenotype row and written (" + std::to_string(samples.noResponse) +
              " of them without a response value, which kestrova leaves out), " + std::to_string(nStudy - nPick) +
              " left out (no phenotype row); " + std::to_string(table.ids.size() - nPick) + " of " +
              std::to_string(table.ids.size()) + " phenotype rows without genotypes\n";
    if (panel) {
        report += "Panel: " + std::to_string(panel->samples().size()) + " samples; " + std::to_string(fam.trios) +
                  " trios, " + std::to_string(fam.duos) + " duos, " + std::to_string(fam.singletons) + " singletons (" +
                  std::to_string(fam.column.size()) + " columns, " + std::to_string(2 * fam.founders.size()) +
                  " founder haplotypes); " + std::to_string(fam.leftOut) +
                  " left out (related to a unit already taken); " + std::to_string(fam.notInPedigree) +
                  " not in the pedigree (taken as unrelated); " + std::to_string(fam.pedigreeOnly) +
                  " pedigree people not in the panel\n";
    }
    report += "Study sites: " + site_summary(studyFilter.counts()) + "\n";
    if (panel) {
        report += "Panel sites: " + site_summary(panelFilter.counts());
        if (folders.panel_elsewhere())
            report += "; " + std::to_string(folders.panel_elsewhere()) + " on chromosomes without study SNPs (not used)";
        report += "\n";
    }
    report += notes;
    report += "Model: DESIGN " + model.design + ", MODE " + model.mode + "; written: " + written + "\n";
    return "";
}

} // namespace prepare
