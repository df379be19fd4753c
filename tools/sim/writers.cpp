// Output files of the simulator (see writers.h).
#include "writers.h"

#include "exchange.h"
#include "random.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <sstream>

namespace sim {

// ---------------------------------------------------------------- OutFile

OutFile::OutFile(const std::string& path, std::size_t bufferBytes) : path_(path), buf_(bufferBytes) {
    f_ = std::fopen(path.c_str(), "wb");
    if (!f_) fail("cannot write '" + path + "': " + std::strerror(errno));
}

OutFile::~OutFile() {
    if (f_) std::fclose(f_);
}

void OutFile::flush() {
    if (len_ > 0 && std::fwrite(buf_.data(), 1, len_, f_) != len_)
        fail("write error on '" + path_ + "': " + std::strerror(errno));
    written_ += len_;
    len_ = 0;
}

void OutFile::put(std::string_view s) {
    char* p = reserve(s.size());
    std::memcpy(p, s.data(), s.size());
    commit(s.size());
}

char* OutFile::reserve(std::size_t n) {
    if (buf_.size() - len_ < n) {
        flush();
        if (buf_.size() < n) buf_.resize(n);
    }
    return buf_.data() + len_;
}

void OutFile::put_int(long long v) {
    char tmp[24];
    int k = 0;
    unsigned long long u = v < 0 ? 0ULL - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
    do {
        tmp[k++] = static_cast<char>('0' + u % 10);
        u /= 10;
    } while (u > 0);
    if (v < 0) tmp[k++] = '-';
    char* p = reserve(static_cast<std::size_t>(k));
    for (int i = 0; i < k; ++i) p[i] = tmp[k - 1 - i];
    commit(static_cast<std::size_t>(k));
}

void OutFile::put_fixed(long long units, int decimals) {
    if (decimals <= 0) {
        put_int(units);
        return;
    }
    long long scale = 1;
    for (int d = 0; d < decimals; ++d) scale *= 10;
    if (units < 0) {
        put('-');
        units = -units;
    }
    put_int(units / scale);
    put('.');
    long long frac = units % scale;
    char tmp[24];
    for (int d = decimals - 1; d >= 0; --d) {
        tmp[d] = static_cast<char>('0' + frac % 10);
        frac /= 10;
    }
    put(std::string_view(tmp, static_cast<std::size_t>(decimals)));
}

void OutFile::close() {
    if (!f_) return;
    flush();
    if (std::fclose(f_) != 0) {
        f_ = nullptr;
        fail("write error on '" + path_ + "': " + std::strerror(errno));
    }
    f_ = nullptr;
}

// ---------------------------------------------------------------- model words

namespace {

// The analysis program reads lines of the specification file 99 characters at
// a time and uses at most 99 characters of the phenotype header.
constexpr std::size_t kModelLineWidth = 90;
constexpr std::size_t kHeaderWidth = 99;
constexpr int kMaxCovariates = 40;

std::vector<std::string> split_words(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> w;
    std::string word;
    while (in >> word) w.push_back(word);
    return w;
}

// prefix followed by a number, as in X1 or C2.
std::string label(const char* prefix, long long i) {
    std::string s(prefix);
    s += std::to_string(i);
    return s;
}

// Drops a leading "KEYWORD =" (or "KEYWORD") from a user-supplied model line.
std::vector<std::string> strip_keyword(std::vector<std::string> w, const char* keyword) {
    if (!w.empty() && w[0] == keyword) w.erase(w.begin());
    if (!w.empty() && w[0] == "=") w.erase(w.begin());
    return w;
}

std::vector<std::string> effect_names(const Options& opt) {
    std::vector<std::string> names{"G"};
    for (int i = 1; i <= opt.covariates; ++i) names.push_back(label("X", i));
    for (int i = 1; i <= opt.categorical; ++i) names.push_back(label("C", i));
    return names;
}

bool known(const std::vector<std::string>& names, const std::string& w) {
    return std::find(names.begin(), names.end(), w) != names.end();
}

// Both parts of an interaction term, or false when the term has no single '*'.
bool split_product(const std::string& term, std::string& a, std::string& b) {
    const auto star = term.find('*');
    if (star == std::string::npos || term.find('*', star + 1) != std::string::npos) return false;
    a = term.substr(0, star);
    b = term.substr(star + 1);
    return true;
}

void write_keyword_lines(OutFile& out, const char* keyword, const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& w : words) {
        if (!line.empty() && line.size() + 1 + w.size() > kModelLineWidth) {
            out.put(line);
            out.put('\n');
            line.clear();
        }
        if (line.empty()) line = std::string(keyword) + " =";
        line += ' ';
        line += w;
    }
    if (!line.empty()) {
        out.put(line);
        out.put('\n');
    }
}

std::string join(const std::vector<std::string>& w, const char* sep = " ") {
    std::string s;
    for (std::size_t i = 0; i < w.size(); ++i) {
        if (i) s += sep;
        s += w[i];
    }
    return s;
}

} // namespace

ModelWords model_words(const Options& opt) {
    ModelWords m;
    const std::vector<std::string> names = effect_names(opt);
    if (opt.model.empty()) {
        m.effect = names;
        if (opt.interaction != 0.0) m.effect.push_back("G*X1");
    } else {
        m.effect = strip_keyword(split_words(opt.model), "EFFECT");
        if (m.effect.empty()) fail("--model: no effect terms given");
    }
    bool sawG = false;
    for (std::size_t i = 0; i < m.effect.size(); ++i) {
        const std::string& t = m.effect[i];
        if (std::count(m.effect.begin(), m.effect.begin() + static_cast<long>(i), t))
            fail("--model: term '" + t + "' is repeated");
        std::string a, b;
        if (t.find('*') == std::string::npos) {
            if (!known(names, t))
                fail("--model: unknown term '" + t + "' (known: " + join(names) + ")");
            if (t == "G") sawG = true;
        } else {
            if (!split_product(t, a, b) || a.empty() || b.empty())
                fail("--model: '" + t + "' is not a product of two terms");
            if (!known(names, a)) fail("--model: unknown term '" + a + "' in '" + t + "'");
            if (!known(names, b)) fail("--model: unknown term '" + b + "' in '" + t + "'");
            if (a == b) fail("--model: '" + t + "' multiplies a term by itself");
            if (b == "G" && !sawG)
                fail("--model: write the interaction '" + t + "' as G*" + a + " (or list G before it)");
            if (a == "G") sawG = true;
        }
    }

    if (opt.output.empty()) {
        m.output = {"G"};
        if (opt.model.empty() && opt.interaction != 0.0) m.output.push_back("G*X1");
    } else {
        m.output = strip_keyword(split_words(opt.output), "OUTPUT");
        if (m.output.empty()) fail("--output: no terms given");
    }
    for (std::size_t i = 0; i < m.output.size(); ++i) {
        const std::string& t = m.output[i];
        if (std::count(m.output.begin(), m.output.begin() + static_cast<long>(i), t))
            fail("--output: term '" + t + "' is repeated");
        bool found = known(m.effect, t);
        std::string a, b;
        if (!found && split_product(t, a, b)) found = known(m.effect, b + "*" + a);
        if (!found) fail("--output: term '" + t + "' is not among the EFFECT terms (" + join(m.effect) + ")");
    }
    return m;
}

std::string phenotype_header(const Options& opt) {
    if (opt.covariates + opt.categorical > kMaxCovariates)
        fail("at most " + std::to_string(kMaxCovariates) + " covariates in all (--covariates plus --categorical)");
    std::vector<std::string> cols;
    switch (opt.design) {
    case Design::CaseControl: cols.push_back("STATUS"); break;
    case Design::Cohort:
        cols.push_back("TIME");
        cols.push_back("EVENT");
        break;
    case Design::CrossSectional: cols.push_back("TRAIT"); break;
    }
    for (int i = 1; i <= opt.covariates; ++i) cols.push_back(label("X", i));
    for (int i = 1; i <= opt.categorical; ++i) cols.push_back(label("C", i));
    std::string h = join(cols);
    if (h.size() > kHeaderWidth)
        fail("the phenotype header would be " + std::to_string(h.size()) + " characters, more than the " +
             std::to_string(kHeaderWidth) + " that are read; use fewer covariates");
    return h;
}

// ---------------------------------------------------------------- specification.txt, phenotype.dat

void write_specification_file(const Options& opt, const ModelWords& words, const std::string& path) {
    OutFile out(path, 1 << 16);
    out.put("DESIGN = ");
    out.put(design_name(opt.design));
    out.put("\nPANEL = ");
    out.put_int(opt.trios);
    out.put(' ');
    out.put_int(opt.duos);
    out.put(' ');
    out.put_int(opt.singletons);
    out.put("\nMODE = ");
    out.put(mode_name(opt.mode));
    out.put('\n');
    std::vector<std::string> cat;
    for (int i = 1; i <= opt.categorical; ++i) cat.push_back(label("C", i));
    write_keyword_lines(out, "CATEGORICAL", cat);
    if (opt.dependent) out.put("DEPENDENT = C1\n");
    write_keyword_lines(out, "EFFECT", words.effect);
    write_keyword_lines(out, "OUTPUT", words.output);
    out.close();
}

void put_phenotype_row(OutFile& out, const Options& opt, const Sample& s, int i) {
    const int cols = s.columns();
    const std::uint8_t* na = &s.na[static_cast<std::size_t>(i) * cols];
    int col = 0;
    // Starts the next column; true when its entry is to be written as NA.
    auto next_is_na = [&]() {
        if (col > 0) out.put(' ');
        if (!na[col++]) return false;
        out.put("NA");
        return true;
    };
    switch (opt.design) {
    case Design::CaseControl:
        if (!next_is_na()) out.put(s.status[i] ? '1' : '0');
        break;
    case Design::Cohort:
        if (!next_is_na()) out.put_fixed(s.time[i], opt.tieDigits);
        if (!next_is_na()) out.put(s.event[i] ? '1' : '0');
        break;
    case Design::CrossSectional:
        if (next_is_na()) break;
        if (opt.trait == Trait::Binary) out.put(s.status[i] ? '1' : '0');
        else out.put_fixed(s.trait[i], 5);
        break;
    }
    for (int a = 0; a < s.nx; ++a)
        if (!next_is_na()) out.put_fixed(s.x[static_cast<std::size_t>(i) * s.nx + a], 5);
    for (int a = 0; a < s.nc; ++a)
        if (!next_is_na()) out.put_int(s.c[static_cast<std::size_t>(i) * s.nc + a]);
}

void write_phenotypes(const Options& opt, const Sample& s, const std::string& path) {
    OutFile out(path, 1 << 20);
    out.put(phenotype_header(opt));
    out.put('\n');
    for (int i = 0; i < s.n; ++i) {
        put_phenotype_row(out, opt, s, i);
        out.put('\n');
    }
    out.close();
}

// ---------------------------------------------------------------- genotype, panel and haplotype files

namespace {

// The codes of one genotype line ('0', '1', '2', '9'), each after a blank, and
// the line end. Returns the allele-1 frequency over the codes that are not
// missing, or -1 when every code is missing.
double put_codes(OutFile& out, const char* code, int count) {
    char* p = out.reserve(2 * static_cast<std::size_t>(count) + 1);
    long long sum = 0, typed = 0;
    for (int i = 0; i < count; ++i) {
        *p++ = ' ';
        *p++ = code[i];
        if (code[i] != '9') {
            sum += code[i] - '0';
            ++typed;
        }
    }
    *p++ = '\n';
    out.commit(2 * static_cast<std::size_t>(count) + 1);
    return typed ? static_cast<double>(sum) / (2.0 * static_cast<double>(typed)) : -1.0;
}

} // namespace

MapStats write_map_files(const Options& opt, const Genome& g, const PanelLayout& panel, const Sample& s,
                         const std::string& dir, ExchangeFiles* exchange) {
    MapStats st;
    OutFile geno(dir + "/genotype.dat", 16u << 20);
    OutFile ext(dir + "/external.dat", 4u << 20);
    OutFile hap(dir + "/haplotype.dat", 4u << 20);

    const int n = s.n;
    const int nPanel = static_cast<int>(panel.member.size());
    std::vector<std::uint64_t> ids;
    ids.reserve(static_cast<std::size_t>(2 * n + panel.totalHaplotypes));
    for (int i = 0; i < n; ++i) {
        ids.push_back(2 * s.member[i]);
        ids.push_back(2 * s.member[i] + 1);
    }
    for (int h = 0; h < panel.totalHaplotypes; ++h) ids.push_back(kPanelHaplotypeBase + static_cast<std::uint64_t>(h));
    HaplotypeStream stream(g, ids);
    std::vector<std::uint8_t> allele(ids.size());
    const std::uint8_t* study = allele.data();
    const std::uint8_t* pan = allele.data() + 2 * static_cast<std::size_t>(n);
    std::vector<char> code(static_cast<std::size_t>(std::max(n, nPanel)));

    auto head = [](OutFile& out, const Snp& snp) {
        out.put(snp.id);
        out.put(' ');
        out.put_int(snp.pos);
    };

    for (int j = 0; j < g.size(); ++j) {
        const Snp& snp = g.snp[j];
        stream.advance(j, allele.data());

        if (j == g.causal) {
            long long sum = 0;
            for (int i = 0; i < n; ++i) {
                const int gt = study[2 * i] + study[2 * i + 1];
                if (gt != s.genotype[i]) fail("internal error: causal genotypes differ between passes");
                sum += gt;
            }
            st.causalStudyFreq = static_cast<double>(sum) / (2.0 * n);
            sum = 0;
            for (int m = 0; m < nPanel; ++m) sum += pan[panel.member[m][0]] + pan[panel.member[m][1]];
            st.causalPanelFreq = nPanel > 0 ? static_cast<double>(sum) / (2.0 * nPanel) : -1.0;
        }
        if (snp.typed) {
            for (int i = 0; i < n; ++i) code[i] = static_cast<char>('0' + study[2 * i] + study[2 * i + 1]);
            if (snp.missing) {
                Stream rng(opt.seed, kTagStudyMissing, static_cast<std::uint64_t>(j));
                int k = 0;
                for (int i = 0; i < n; ++i)
                    if (rng.uniform() < opt.missingRate) {
                        code[i] = '9';
                        ++k;
                    }
                if (k == 0) {  // a SNP chosen to have missing genotypes has at least one
                    code[rng.below(static_cast<std::uint64_t>(n))] = '9';
                    k = 1;
                }
                st.studyMissingCodes += static_cast<std::uint64_t>(k);
            }
            head(geno, snp);
            geno.put(snp.letters == Letters::StrandFlag ? " 1 " : " 0 ");
            geno.put(snp.letter1);
            geno.put(' ');
            geno.put(snp.letter2);
            const double freq = put_codes(geno, code.data(), n);
            if (exchange) exchange->study_snp(snp, code.data());
            if (snp.letters == Letters::Ambiguous) {
                st.ambiguousSnp.push_back(j);
                st.ambiguousStudy.push_back(freq);
            }
        }

        if (snp.inPanel) {
            const bool turn = snp.panel_turned();
            for (int m = 0; m < nPanel; ++m) {
                const int gt = pan[panel.member[m][0]] + pan[panel.member[m][1]];
                code[m] = static_cast<char>('0' + (turn ? 2 - gt : gt));
            }
            if (opt.panelMissing > 0.0) {
                Stream rng(opt.seed, kTagPanelMissing, static_cast<std::uint64_t>(j));
                for (int m = 0; m < nPanel; ++m)
                    if (rng.uniform() < opt.panelMissing) {
                        code[m] = '9';
                        ++st.panelMissingCodes;
                    }
            }
            head(ext, snp);
            ext.put(' ');
            ext.put(snp.panel_letter1());
            ext.put(' ');
            ext.put(snp.panel_letter2());
            const double freq = put_codes(ext, code.data(), nPanel);
            if (exchange) exchange->panel_snp(snp, pan, code.data());
            if (snp.letters == Letters::Ambiguous) st.ambiguousPanel.push_back(freq);

            if (snp.phased) {
                hap.put(snp.id);
                const int nh = panel.writtenHaplotypes;
                char* q = hap.reserve(2 * static_cast<std::size_t>(nh) + 1);
                const std::uint8_t flip = turn ? 1 : 0;
                for (int h = 0; h < nh; ++h) {
                    *q++ = ' ';
                    *q++ = static_cast<char>('0' + (pan[h] ^ flip));
                }
                *q++ = '\n';
                hap.commit(2 * static_cast<std::size_t>(nh) + 1);
            }
        }
    }
    geno.close();
    ext.close();
    hap.close();
    st.genotypeBytes = geno.bytes();
    st.externalBytes = ext.bytes();
    st.haplotypeBytes = hap.bytes();
    return st;
}

// ---------------------------------------------------------------- truth.txt

namespace {

std::string fmt(double v, int decimals = 6) {
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", decimals, v);
    return b;
}

// Identifiers of the SNPs that satisfy pred; long lists are only counted.
template <class Pred>
void snp_list(OutFile& out, const Genome& g, const char* key, Pred pred) {
    constexpr int kListLimit = 500;
    std::vector<int> hit;
    for (int j = 0; j < g.size(); ++j)
        if (pred(g.snp[j])) hit.push_back(j);
    out.put(key);
    out.put("_count = ");
    out.put_int(static_cast<long long>(hit.size()));
    out.put('\n');
    out.put(key);
    out.put(" =");
    if (static_cast<int>(hit.size()) > kListLimit) {
        out.put(" (more than 500, not listed)");
    } else {
        for (int j : hit) {
            out.put(' ');
            out.put(g.snp[j].id);
        }
    }
    out.put('\n');
}

// What the analysis program's strand check will do with an A/T or C/G SNP.
const char* ambiguous_outcome(double s, double p) {
    const double d = (s - 0.5) * (p - 0.5);
    if (p <= 0.4 || p >= 0.6 || s <= 0.4 || s >= 0.6 || d >= 0.0) return d < 0.0 ? "panel-turned" : "kept";
    return "removed";
}

} // namespace

void write_truth(const Options& opt, const Genome& g, const PanelLayout& panel, const Sample& s,
                 const ModelWords& words, const MapStats& st, const std::string& path) {
    OutFile out(path, 1 << 20);
    auto line = [&](const std::string& key, const std::string& value) {
        out.put(key);
        out.put(" = ");
        out.put(value);
        out.put('\n');
    };
    out.put("# kestrova-sim: what was simulated (key = value; lists are blank-separated)\n");
    line("command", opt.commandLine);
    line("seed", std::to_string(opt.seed));
    line("design", design_name(opt.design));
    if (opt.design == Design::CrossSectional) line("trait", trait_name(opt.trait));
    line("mode", mode_name(opt.mode));
    line("effect_terms", join(words.effect));
    line("output_terms", join(words.output));
    out.put('\n');

    const Snp& c = g.snp[g.causal];
    out.put("# causal SNP; G counts copies of allele 1, the study's first letter\n");
    line("causal_id", c.id);
    line("causal_position", std::to_string(c.pos));
    line("causal_index", std::to_string(g.causal + 1));
    line("causal_choice", g.causalChoice);
    line("causal_ld_partners", std::to_string(g.causalPartners) + " (SNPs within 50 kb with founder-level r2 >= 0.5)");
    line("causal_status", !c.typed ? "untyped" : (c.missing ? "typed-with-missing" : "typed-complete"));
    line("causal_in_panel", c.inPanel ? "yes" : "no");
    line("causal_letters", std::string(1, c.letter1) + " " + std::string(1, c.letter2));
    line("causal_frequency_population", fmt(c.freq));
    line("causal_frequency_study", fmt(st.causalStudyFreq));
    if (st.causalPanelFreq >= 0.0) line("causal_frequency_panel", fmt(st.causalPanelFreq));
    std::string coding;
    switch (opt.mode) {
    case Mode::Additive: coding = "copies of allele 1"; break;
    case Mode::Recessive: coding = "1 for two copies of allele 1, else 0"; break;
    case Mode::Dominant: coding = "1 for one or two copies of allele 1, else 0"; break;
    case Mode::Codominant: coding = "heterozygote 1 x effect, homozygote 2 x effect"; break;
    }
    line("genotype_coding", coding);
    line("effect_G", fmt(opt.effect));
    out.put('\n');

    out.put("# covariates: X standard normal; C levels 1,2,3 with shares 0.5 0.3 0.2, effect per level step\n");
    for (int i = 1; i <= opt.covariates; ++i) line(label("effect_X", i), fmt(opt.covariateEffect));
    for (int i = 1; i <= opt.categorical; ++i) {
        line(label("effect_C", i) + "(2)", fmt(opt.covariateEffect));
        line(label("effect_C", i) + "(3)", fmt(2.0 * opt.covariateEffect));
    }
    if (opt.interaction != 0.0) line("effect_G*X1", fmt(opt.interaction));
    if (opt.dependent)
        line("dependence_C1", fmt(opt.dependence) + " (P(C1 = l | g) proportional to share_l * exp(dependence * g * (l - 1)))");
    line("missing_phenotype_share", fmt(opt.missingPhenotypes));
    line("na_entries", std::to_string(s.naEntries));
    out.put('\n');

    out.put("# response\n");
    line("subjects", std::to_string(s.n));
    switch (opt.design) {
    case Design::CaseControl:
        line("cases", std::to_string(opt.cases));
        line("controls", std::to_string(opt.controls));
        line("intercept", fmt(s.intercept));
        line("population_screened", std::to_string(s.screened));
        line("population_prevalence", fmt(static_cast<double>(s.populationCases) / static_cast<double>(s.screened)));
        break;
    case Design::Cohort:
        line("baseline_hazard", fmt(kBaselineHazard));
        line("censoring_rate", fmt(s.censoringRate));
        line("censored", std::to_string(s.censored));
        line("events", std::to_string(s.n - s.censored));
        line("time_decimals", std::to_string(opt.tieDigits));
        break;
    case Design::CrossSectional:
        line("intercept", fmt(s.intercept));
        if (opt.trait == Trait::Continuous) {
            line("residual_sd", fmt(opt.sigma));
        } else {
            int ones = 0;
            for (int v : s.status) ones += v;
            line("trait_ones", std::to_string(ones));
        }
        break;
    }
    out.put('\n');

    out.put("# map\n");
    line("snps", std::to_string(g.size()));
    line("first_position", std::to_string(g.snp.front().pos));
    line("last_position", std::to_string(g.snp.back().pos));
    line("mean_spacing", fmt(g.spacing, 1));
    line("founders", std::to_string(g.founders));
    std::vector<std::string> w;
    for (double x : g.weight) w.push_back(fmt(x, 4));
    line("founder_shares", join(w));
    {
        std::ostringstream r;
        r << opt.recomb;
        line("recombination_per_bp", r.str());
    }
    line("noise", fmt(opt.noise));
    snp_list(out, g, "typed", [](const Snp& x) { return x.typed; });
    snp_list(out, g, "untyped", [](const Snp& x) { return !x.typed; });
    snp_list(out, g, "study_only", [](const Snp& x) { return x.typed && !x.inPanel; });
    snp_list(out, g, "panel", [](const Snp& x) { return x.inPanel; });
    snp_list(out, g, "unphased", [](const Snp& x) { return x.inPanel && !x.phased; });
    snp_list(out, g, "missing_genotypes", [](const Snp& x) { return x.missing; });
    snp_list(out, g, "strand_flagged", [](const Snp& x) { return x.letters == Letters::StrandFlag; });
    snp_list(out, g, "letter_swapped", [](const Snp& x) { return x.letters == Letters::Swapped; });
    snp_list(out, g, "ambiguous", [](const Snp& x) { return x.letters == Letters::Ambiguous; });
    line("study_missing_rate", fmt(opt.missingRate));
    line("study_missing_codes", std::to_string(st.studyMissingCodes));
    line("panel_missing_rate", fmt(opt.panelMissing));
    line("panel_missing_codes", std::to_string(st.panelMissingCodes));
    if (!st.ambiguousSnp.empty()) {
        out.put("# ambiguous SNPs: id, allele-1 frequency over all study subjects and over all panel members, expected strand-check outcome\n");
        for (std::size_t i = 0; i < st.ambiguousSnp.size(); ++i) {
            const double sf = st.ambiguousStudy[i], pf = st.ambiguousPanel[i];
            line("ambiguous_detail", g.snp[st.ambiguousSnp[i]].id + " " + fmt(sf, 4) + " " + fmt(pf, 4) + " " +
                                         ambiguous_outcome(sf, pf));
        }
    }
    out.put('\n');

    out.put("# external panel\n");
    line("panel_families", std::to_string(opt.trios) + " " + std::to_string(opt.duos) + " " + std::to_string(opt.singletons));
    line("panel_columns", std::to_string(panel.member.size()));
    line("haplotype_columns", std::to_string(panel.writtenHaplotypes));
    out.put('\n');

    out.put("# files\n");
    line("genotype_bytes", std::to_string(st.genotypeBytes));
    line("external_bytes", std::to_string(st.externalBytes));
    line("haplotype_bytes", std::to_string(st.haplotypeBytes));
    out.close();
}

} // namespace sim
