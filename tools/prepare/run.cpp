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

void head(std::string& line, const std::string& id, long long pos) {
    line += id;
    line += ' ';
    line += std::to_string(pos);
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

} // namespace

std::string run(const Settings& s, std::string& report) {
    report.clear();
    auto err = [](const std::string& m) { return m; };
    // ---- model, phenotype table
    ModelRequest model = s.model;
    std::string text, why;
    if (!s.modelFile.empty()) {
        if (!read_file(s.modelFile, text, why)) return err(quote(s.modelFile) + ": cannot be read (" + why + ")");
        if (std::string e = read_model_file(text, s.modelFile, model); !e.empty()) return e;
    }
    TableRequest req = s.table;
    if (!s.covariatesGiven) req.covariates = covariates_of(model);
    if (!read_file(s.phenotypes, text, why)) return err(quote(s.phenotypes) + ": cannot be read (" + why + ")");
    PhenotypeTable table = read_phenotype_table(text, s.phenotypes, req);
    if (!table.error.empty()) return table.error;
    if (std::string e = check_model(model, req.response, req.covariates); !e.empty()) return e;
    Selection sel;
    sel.chromosome = s.chromosome.empty() ? "" : chromosome_key(s.chromosome);
    if (!s.region.empty() && !parse_region(s.region, sel))
        return "--region " + quote(s.region) + ": expected FROM-TO, two positions with FROM >= 1 and TO >= FROM";

    // ---- study samples
    std::unique_ptr<GenotypeSource> study;
    std::string studyName;
    if (!s.vcf.empty()) {
        auto v = std::make_unique<VcfSource>();
        if (!v->open(s.vcf)) return v->error;
        study = std::move(v);
        studyName = s.vcf;
    } else {
        auto p = std::make_unique<PlinkSource>();
        if (!p->open(s.bfile)) return p->error;
        study = std::move(p);
        studyName = s.bfile + ".bed";
    }
    std::vector<int> pick;
    std::string phenoRows;
    std::size_t noResponse = 0;
    for (std::size_t i = 0; i < study->samples().size(); ++i) {
        const auto it = table.row.find(study->samples()[i]);
        if (it == table.row.end()) continue;
        pick.push_back(static_cast<int>(i));
        phenoRows += table.rows[static_cast<std::size_t>(it->second)] + "\n";
        noResponse += static_cast<std::size_t>(table.noResponse[static_cast<std::size_t>(it->second)]);
    }
    if (pick.empty())
        return quote(studyName) + ": none of its " + std::to_string(study->samples().size()) +
               " samples has a row in " + quote(s.phenotypes) + " (matched by the sample ID column)";

    // ---- panel
    std::unique_ptr<VcfSource> panel;
    PanelFamilies fam;
    if (!s.panel.empty()) {
        if (!read_file(s.pedigree, text, why)) return err(quote(s.pedigree) + ": cannot be read (" + why + ")");
        const Pedigree ped = read_pedigree(text, s.pedigree);
        if (!ped.error.empty()) return ped.error;
        panel = std::make_unique<VcfSource>();
        if (!panel->open(s.panel)) return panel->error;
        fam = choose_families(ped, panel->samples());
    }

    // ---- study genotypes
    Staging staging;
    std::map<std::string, Chromosome> chromosomes;  // by key
    std::vector<std::string> order;                 // keys in study order
    std::string emitError;
    SiteFilter studyFilter(sel, [&](Kept& k) {
        Chromosome& c = chromosomes[k.key];
        if (!c.genotype) {
            c.name = k.chrom;
            c.dir = s.out + "/" + folder_name(k.key);
            order.push_back(k.key);
            c.genotype = staging.open(c.dir, "genotype.dat", emitError);
            if (!c.genotype) return;
        }
        if (!c.genotype->write(k.line)) emitError = "write error on " + quote(c.genotype->temp_path());
        c.study.push_back({k.pos, k.first, k.second});
        if (!k.originalId.empty()) c.renamed += k.id + " " + std::to_string(k.pos) + " " + k.originalId + " study\n";
    });
    std::vector<char> codes(std::max(pick.size(), fam.column.size()));
    std::string error;
    if (!convert(*study, studyFilter, emitError,
                 [&](const std::string& id, Kept& k) {
                     if (!study->codes(pick, codes.data())) return false;
                     head(k.line, id, k.pos);
                     k.line += " 0 ";
                     k.line += k.first;
                     k.line += ' ';
                     k.line += k.second;
                     append_codes(k.line, codes.data(), pick.size());
                     return true;
                 },
                 error))
        return error;
    if (order.empty())
        return quote(studyName) + ": no biallelic SNP to write (" + site_summary(studyFilter.counts()) + ")";

    // ---- panel genotypes and haplotypes
    std::uint64_t panelElsewhere = 0;
    SiteFilter panelFilter(sel, [&](Kept& k) {
        const auto it = chromosomes.find(k.key);
        if (it == chromosomes.end()) {
            ++panelElsewhere;
            return;
        }
        Chromosome& c = it->second;
        if (!c.external) {
            c.external = staging.open(c.dir, "external.dat", emitError);
            if (c.external) c.haplotype = staging.open(c.dir, "haplotype.dat", emitError);
            if (!c.haplotype) return;
        }
        if (!c.external->write(k.line)) emitError = "write error on " + quote(c.external->temp_path());
        if (k.hapLine.empty()) ++c.unphased;
        else if (!c.haplotype->write(k.hapLine)) emitError = "write error on " + quote(c.haplotype->temp_path());
        else ++c.haplotypes;
        c.panel.push_back({k.pos, k.first, k.second});
        if (!k.originalId.empty()) c.renamed += k.id + " " + std::to_string(k.pos) + " " + k.originalId + " panel\n";
    });
    if (panel) {
        std::vector<char> haps(2 * fam.founders.size());
        if (!convert(*panel, panelFilter, emitError,
                     [&](const std::string& id, Kept& k) {
                         bool phased = false;
                         if (!panel->panel_calls(fam.column, fam.founders, codes.data(), haps.data(), phased))
                             return false;
                         head(k.line, id, k.pos);
                         k.line += ' ';
                         k.line += k.first;
                         k.line += ' ';
                         k.line += k.second;
                         append_codes(k.line, codes.data(), fam.column.size());
                         if (phased) {
                             k.hapLine = id;
                             append_codes(k.hapLine, haps.data(), haps.size());
                         }
                         return true;
                     },
                     error))
            return error;
    }

    // ---- per chromosome: the remaining files, or the folder left out
    const int panelCounts[3] = {fam.trios, fam.duos, fam.singletons};
    const std::string spec = specification_text(model, panel ? panelCounts : nullptr);
    const std::string pheno = table.header + "\n" + phenoRows;
    std::string folders, notes;
    for (const std::string& key : order) {
        Chromosome& c = chromosomes[key];
        std::string line = "Chromosome " + c.name + ": " + std::to_string(c.study.size()) + " study SNPs";
        if (panel) {
            line += ", " + std::to_string(c.panel.size()) + " panel SNPs (" + std::to_string(c.haplotypes) +
                    " with haplotypes, " + std::to_string(c.unphased) + " without: a founder's call unphased or missing)";
            // Shared positions, A/T and C/G among them, and letter pairs that are not the study's.
            std::uint64_t shared = 0, ambiguous = 0, otherStrand = 0, otherPair = 0;
            for (std::size_t i = 0, j = 0; i < c.study.size() && j < c.panel.size();) {
                if (c.study[i].pos < c.panel[j].pos) ++i;
                else if (c.study[i].pos > c.panel[j].pos) ++j;
                else {
                    const Letters &a = c.study[i++], &b = c.panel[j++];
                    ++shared;
                    const int pair = (1 << (a.first - 'A')) | (1 << (a.second - 'A'));
                    if (pair == ((1 << ('A' - 'A')) | (1 << ('T' - 'A'))) || pair == ((1 << ('C' - 'A')) | (1 << ('G' - 'A'))))
                        ++ambiguous;
                    const auto comp = [](char x) { return x == 'A' ? 'T' : x == 'T' ? 'A' : x == 'C' ? 'G' : 'C'; };
                    const bool same = (a.first == b.first && a.second == b.second) || (a.first == b.second && a.second == b.first);
                    const bool flipped = (comp(a.first) == b.first && comp(a.second) == b.second) ||
                                         (comp(a.first) == b.second && comp(a.second) == b.first);
                    if (!same && flipped) ++otherStrand;
                    if (!same && !flipped) ++otherPair;
                }
            }
            line += "; " + std::to_string(shared) + " positions shared, " + std::to_string(ambiguous) +
                    " of them A/T or C/G (strand-ambiguous)";
            if (otherStrand) line += ", " + std::to_string(otherStrand) + " with complementary letters (other strand)";
            if (otherPair) line += ", " + std::to_string(otherPair) + " with other alleles in the panel";
            if (c.haplotypes == 0) {
                staging.drop(c.genotype);
                if (c.external) {
                    staging.drop(c.external);
                    staging.drop(c.haplotype);
                }
                notes += line + "; not written: no panel SNP with phased haplotypes\n";
                continue;
            }
        }
        StagedFile* f = staging.open(c.dir, "phenotype.dat", error);
        if (!f || !f->write(pheno)) return error.empty() ? "write error in " + quote(c.dir) : error;
        f = staging.open(c.dir, "specification.txt", error);
        if (!f || !f->write(spec)) return error.empty() ? "write error in " + quote(c.dir) : error;
        // Always written, so that no list of an earlier run stays beside the new files.
        f = staging.open(c.dir, "snp_names.txt", error);
        if (!f || !f->write("name position original_identifier file\n" + c.renamed))
            return error.empty() ? "write error in " + quote(c.dir) : error;
        notes += line + " -> " + quote(c.dir) + "\n";
        folders += (folders.empty() ? "" : " ") + c.dir;
    }
    if (folders.empty()) return "nothing written: no chromosome has panel SNPs with phased haplotypes";
    if (!staging.commit(error)) return error;

    // ---- report
    const std::size_t nStudy = study->samples().size();
    report += "kestrova-prepare: study " + quote(studyName) + ", phenotypes " + quote(s.phenotypes);
    if (panel) report += ", panel " + quote(s.panel) + " with pedigree " + quote(s.pedigree);
    report += "\n";
    report += "Samples: " + std::to_string(nStudy) + " genotyped, " + std::to_string(pick.size()) +
              " matched with a phenotype row and written (" + std::to_string(noResponse) +
              " of them without a response value, which kestrova leaves out), " + std::to_string(nStudy - pick.size()) +
              " left out (no phenotype row); " + std::to_string(table.ids.size() - pick.size()) + " of " +
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
        if (panelElsewhere) report += "; " + std::to_string(panelElsewhere) + " on chromosomes without study SNPs (not used)";
        report += "\n";
    }
    report += notes;
    report += "Model: DESIGN " + model.design + ", MODE " + model.mode + "; written: " + folders + "\n";
    return "";
}

} // namespace prepare
