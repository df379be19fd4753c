// kestrova-sim: simulates a ready-to-run Kestrova data set (the model
// specification file, study phenotypes and genotypes, external panel, phased
// haplotypes) together with a record of the truth behind it.
// This unit holds the option table, the command-line parser and the run order.
#include "exchange.h"
#include "genome.h"
#include "options.h"
#include "phenotypes.h"
#include "writers.h"
#include "kestrova_version.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sim {

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "kestrova-sim: %s\n", message.c_str());
    std::exit(1);
}

const char* design_name(Design d) {
    switch (d) {
    case Design::CaseControl: return "case-control";
    case Design::Cohort: return "cohort";
    case Design::CrossSectional: return "cross-sectional";
    }
    return "?";
}

const char* mode_name(Mode m) {
    switch (m) {
    case Mode::Additive: return "additive";
    case Mode::Recessive: return "recessive";
    case Mode::Dominant: return "dominant";
    case Mode::Codominant: return "codominant";
    }
    return "?";
}

const char* trait_name(Trait t) { return t == Trait::Binary ? "binary" : "continuous"; }

} // namespace sim

namespace {

using sim::fail;
using sim::Options;

long long parse_integer(const std::string& opt, const std::string& v, long long lo, long long hi) {
    errno = 0;
    char* end = nullptr;
    const long long x = std::strtoll(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0' || errno == ERANGE)
        fail("--" + opt + ": '" + v + "' is not a whole number");
    if (x < lo || x > hi)
        fail("--" + opt + ": " + v + " is out of range " + std::to_string(lo) + ".." + std::to_string(hi));
    return x;
}

int parse_count(const std::string& opt, const std::string& v, long long hi = 100000000) {
    return static_cast<int>(parse_integer(opt, v, 0, hi));
}

double parse_real(const std::string& opt, const std::string& v) {
    errno = 0;
    char* end = nullptr;
    const double x = std::strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0' || errno == ERANGE || !std::isfinite(x))
        fail("--" + opt + ": '" + v + "' is not a number");
    return x;
}

// A number in [lo, hi] (hiOpen: [lo, hi)).
double parse_range(const std::string& opt, const std::string& v, double lo, double hi, bool hiOpen) {
    const double x = parse_real(opt, v);
    if (x < lo || x > hi || (hiOpen && x == hi))
        fail("--" + opt + ": " + v + " is out of range [" + std::to_string(lo).substr(0, 4) + ", " +
             std::to_string(hi).substr(0, 4) + (hiOpen ? ")" : "]"));
    return x;
}

std::uint64_t parse_seed(const std::string& v) {
    errno = 0;
    char* end = nullptr;
    if (v.empty() || v[0] == '-') fail("--seed: '" + v + "' is not a non-negative whole number");
    const unsigned long long x = std::strtoull(v.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE) fail("--seed: '" + v + "' is not a non-negative whole number");
    return x;
}

struct OptionEntry {
    const char* name;
    const char* arg;  // nullptr: a switch without value
    const char* def;  // default shown by --help ("" for none)
    const char* help;
    std::function<void(Options&, const std::string&)> set;
    const char* section = nullptr;  // heading printed before this option
};

std::vector<OptionEntry> option_table() {
    using O = Options;
    using S = const std::string&;
    std::vector<OptionEntry> t = {
        {"out", "DIR", ".", "output folder, created if missing", [](O& o, S v) { o.out = v; }, "Output"},
        {"seed", "N", "1", "random seed; the same options and seed give byte-identical files",
         [](O& o, S v) { o.seed = parse_seed(v); }},

        {"snps", "N", "60", "number of SNPs on the simulated chromosome",
         [](O& o, S v) { o.snps = static_cast<int>(parse_integer("snps", v, 1, 10000000)); }, "Map and linkage disequilibrium"},
        {"spacing", "BP", "5000",
         "mean distance between neighbouring SNPs (each gap uniform on 0.5..1.5 times it); "
         "when not given it is lowered so that the map ends by position 250000000",
         [](O& o, S v) {
             o.spacing = parse_range("spacing", v, 2.0, 1e8, false);
             o.spacingGiven = true;
         }},
        {"start", "POS", "1000000", "position of the first SNP",
         [](O& o, S v) { o.start = parse_integer("start", v, 1, 299999999); }},
        {"founders", "N", "8", "founder haplotypes of the population (2..64)",
         [](O& o, S v) { o.founders = static_cast<int>(parse_integer("founders", v, 2, 64)); }},
        {"recomb", "R", "1e-05",
         "founder switch rate per base pair: a haplotype changes founder between SNPs d bp apart with "
         "probability 1-exp(-d*R); the founders' local genealogy is renewed at the same rate",
         [](O& o, S v) { o.recomb = parse_range("recomb", v, 0.0, 1.0, false); }},
        {"noise", "R", "0.001", "per-allele mutation/noise rate of a haplotype",
         [](O& o, S v) { o.noise = parse_range("noise", v, 0.0, 0.5, true); }},

        {"typed-share", "F", "0.67", "share of SNPs typed in the study; the others are panel-only (untyped)",
         [](O& o, S v) { o.typedShare = parse_range("typed-share", v, 0.0, 1.0, false); }, "Map composition"},
        {"study-only", "N", "2", "typed SNPs absent from the panel and from haplotype.dat",
         [](O& o, S v) { o.studyOnly = parse_count("study-only", v); }},
        {"unphased", "N", "0", "panel SNPs without a haplotype.dat record",
         [](O& o, S v) { o.unphased = parse_count("unphased", v); }},
        {"missing-share", "F", "0.2", "share of typed SNPs with missing study genotypes (code 9)",
         [](O& o, S v) { o.missingShare = parse_range("missing-share", v, 0.0, 1.0, false); }},
        {"missing-rate", "R", "0.05", "rate of missing genotypes at those SNPs (each has at least one)",
         [](O& o, S v) { o.missingRate = parse_range("missing-rate", v, 0.0, 1.0, true); }},
        {"panel-missing", "R", "0", "rate of missing panel genotypes at every panel SNP",
         [](O& o, S v) { o.panelMissing = parse_range("panel-missing", v, 0.0, 1.0, true); }},
        {"strand-flags", "N", "0",
         "SNPs with strand flag 1 whose panel codes count the other allele (same letters)",
         [](O& o, S v) { o.strandFlags = parse_count("strand-flags", v); }},
        {"swap-letters", "N", "0", "SNPs whose panel letters (and panel codes) are in reversed order",
         [](O& o, S v) { o.swapLetters = parse_count("swap-letters", v); }},
        {"ambiguous", "N", "0", "SNPs with letters \"A T\" or \"C G\" in both files, coded consistently",
         [](O& o, S v) { o.ambiguous = parse_count("ambiguous", v); }},

        {"trios", "N", "30", "panel trios (columns: parent 1, parent 2, child)",
         [](O& o, S v) { o.trios = parse_count("trios", v, 1000000); }, "External panel"},
        {"duos", "N", "10", "panel duos (columns: parent, child)",
         [](O& o, S v) { o.duos = parse_count("duos", v, 1000000); }},
        {"singletons", "N", "60", "panel singletons",
         [](O& o, S v) { o.singletons = parse_count("singletons", v, 1000000); }},

        {"design", "NAME", "case-control", "case-control, cohort or cross-sectional",
         [](O& o, S v) {
             if (v == "case-control") o.design = sim::Design::CaseControl;
             else if (v == "cohort") o.design = sim::Design::Cohort;
             else if (v == "cross-sectional") o.design = sim::Design::CrossSectional;
             else fail("--design: unknown design '" + v + "' (case-control, cohort, cross-sectional)");
         },
         "Study design and response"},
        {"cases", "N", "500", "cases (case-control)",
         [](O& o, S v) { o.cases = static_cast<int>(parse_integer("cases", v, 1, 10000000)); }},
        {"controls", "N", "500", "controls (case-control)",
         [](O& o, S v) { o.controls = static_cast<int>(parse_integer("controls", v, 1, 10000000)); }},
        {"subjects", "N", "1000", "study subjects (cohort, cross-sectional)",
         [](O& o, S v) { o.subjects = static_cast<int>(parse_integer("subjects", v, 1, 10000000)); }},
        {"prevalence", "P", "0.05 / 0.3",
         "population prevalence aimed at by the logistic intercept: 0.05 for case-control, 0.3 for a "
         "binary cross-sectional trait",
         [](O& o, S v) {
             o.prevalence = parse_range("prevalence", v, 0.0, 1.0, true);
             if (o.prevalence == 0.0) fail("--prevalence: must be above 0");
         }},
        {"censoring", "F", "0.3", "share of cohort subjects censored (about)",
         [](O& o, S v) { o.censoring = parse_range("censoring", v, 0.0, 1.0, true); }},
        {"tie-digits", "D", "4", "decimals of cohort times (0..9); fewer digits give more tied times",
         [](O& o, S v) { o.tieDigits = static_cast<int>(parse_integer("tie-digits", v, 0, 9)); }},
        {"trait", "KIND", "continuous", "cross-sectional trait: continuous (linear model) or binary (logistic)",
         [](O& o, S v) {
             if (v == "continuous") o.trait = sim::Trait::Continuous;
             else if (v == "binary") o.trait = sim::Trait::Binary;
             else fail("--trait: unknown trait '" + v + "' (continuous, binary)");
         }},
        {"sigma", "S", "1", "residual standard deviation of a continuous trait",
         [](O& o, S v) {
             o.sigma = parse_real("sigma", v);
             if (!(o.sigma > 0.0)) fail("--sigma: must be above 0");
         }},

        {"effect", "B", "0.5", "effect of the causal genotype term G (log odds ratio, log hazard ratio or slope)",
         [](O& o, S v) { o.effect = parse_range("effect", v, -20.0, 20.0, false); }, "Genetic effect"},
        {"mode", "NAME", "additive",
         "coding of G: additive, recessive, dominant or codominant (heterozygote once the effect, "
         "homozygote twice)",
         [](O& o, S v) {
             if (v == "additive") o.mode = sim::Mode::Additive;
             else if (v == "recessive") o.mode = sim::Mode::Recessive;
             else if (v == "dominant") o.mode = sim::Mode::Dominant;
             else if (v == "codominant") o.mode = sim::Mode::Codominant;
             else fail("--mode: unknown mode '" + v + "' (additive, recessive, dominant, codominant)");
         }},
        {"causal", "ID|INDEX", "",
         "causal SNP by identifier or by 1-based index on the map; default: the SNP nearest the middle "
         "with allele-1 frequency in [0.15, 0.5]",
         [](O& o, S v) {
             if (v.empty()) fail("--causal: empty value");
             o.causal = v;
         }},
        {"causal-untyped", nullptr, "", "make the causal SNP panel-only (untyped in the study)",
         [](O& o, S) { o.causalUntyped = true; }},

        {"covariates", "N", "0", "continuous covariates X1..XN, standard normal",
         [](O& o, S v) { o.covariates = parse_count("covariates", v, 40); }, "Covariates"},
        {"categorical", "N", "0", "categorical covariates C1..CN with levels 1, 2, 3",
         [](O& o, S v) { o.categorical = parse_count("categorical", v, 40); }},
        {"covariate-effect", "B", "0.3", "effect of each X and of each step of a C level",
         [](O& o, S v) { o.covariateEffect = parse_range("covariate-effect", v, -20.0, 20.0, false); }},
        {"dependent", nullptr, "",
         "make C1's distribution depend on the causal genotype and declare it DEPENDENT",
         [](O& o, S) { o.dependent = true; }},
        {"dependence", "B", "0.5", "strength of that dependence: P(C1 = l | g) ~ share(l) * exp(B * g * (l-1))",
         [](O& o, S v) { o.dependence = parse_range("dependence", v, -20.0, 20.0, false); }},
        {"interaction", "B", "0", "effect of G*X1 (nonzero adds G*X1 to the default EFFECT and OUTPUT)",
         [](O& o, S v) { o.interaction = parse_range("interaction", v, -20.0, 20.0, false); }},
        {"missing-phenotypes", "F", "0", "share of response and covariate entries written as NA",
         [](O& o, S v) { o.missingPhenotypes = parse_range("missing-phenotypes", v, 0.0, 1.0, true); }},

        {"model", "WORDS", "G X1.. C1..",
         "EFFECT words of specification.txt, e.g. \"G X1 G*X1\" (a leading \"EFFECT =\" is allowed); "
         "the simulated model itself is unchanged",
         [](O& o, S v) { o.model = v; }, "Model words of specification.txt"},
        {"output", "WORDS", "G", "OUTPUT words of specification.txt (a leading \"OUTPUT =\" is allowed)",
         [](O& o, S v) { o.output = v; }},

        {"vcf", nullptr, "",
         "also write the same data as study.vcf, study.bed/.bim/.fam, panel.vcf (phased GT), panel.fam "
         "(pedigree) and phenotypes.txt (FID IID and the phenotype columns, rows shuffled), the input of "
         "kestrova-prepare; with --strand-flags or --panel-missing its output differs from the direct files",
         [](O& o, S) { o.exchange = true; }, "Files for kestrova-prepare"},
    };
    return t;
}

void print_help(const std::vector<OptionEntry>& table) {
    std::printf(
        "Usage: kestrova-sim [options]\n"
        "\n"
        "Simulates a Kestrova data set and writes into the output folder:\n"
        "  specification.txt  phenotype.dat  genotype.dat  external.dat  haplotype.dat\n"
        "and truth.txt, a record of the simulated truth (causal SNP, effects, SNP classes).\n"
        "Options take their value as the next argument or after '=' (--snps=100).\n");
    for (const OptionEntry& o : table) {
        if (o.section) std::printf("\n%s:\n", o.section);
        std::string head = std::string("  --") + o.name;
        if (o.arg) head += std::string(" ") + o.arg;
        // The default is kept on one line: its blanks are written as '\x01' until printed.
        std::string text = o.help;
        if (o.def && *o.def) {
            std::string def = std::string("[default: ") + o.def + "]";
            for (char& ch : def)
                if (ch == ' ') ch = '\x01';
            text += " " + def;
        }
        std::printf("%-26s", head.c_str());
        if (head.size() > 25) std::printf("\n%-26s", "");
        // Wrap the description at about 100 columns.
        std::size_t col = 26, pos = 0;
        while (pos < text.size()) {
            std::size_t next = text.find(' ', pos);
            if (next == std::string::npos) next = text.size();
            std::string word = text.substr(pos, next - pos);
            for (char& ch : word)
                if (ch == '\x01') ch = ' ';
            if (col > 26 && col + 1 + word.size() > 100) {
                std::printf("\n%-26s", "");
                col = 26;
            } else if (col > 26) {
                std::printf(" ");
                ++col;
            }
            std::printf("%s", word.c_str());
            col += word.size();
            pos = next + 1;
        }
        std::printf("\n");
    }
    std::printf("\n  --help                  this text\n");
    std::printf("  --version               the version\n");
}

Options parse(int argc, char** argv) {
    const std::vector<OptionEntry> table = option_table();
    Options opt;
    opt.commandLine = "kestrova-sim";
    for (int i = 1; i < argc; ++i) {
        opt.commandLine += ' ';
        opt.commandLine += argv[i];
    }
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            print_help(table);
            std::exit(0);
        }
        if (a == "--version") {
            std::printf("kestrova-sim %s\n", KESTROVA_VERSION_TEXT);
            std::exit(0);
        }
        if (a.rfind("--help=", 0) == 0) fail("--help takes no value");
        if (a.rfind("--", 0) != 0) fail("unexpected argument '" + a + "' (see --help)");
        std::string name = a.substr(2), value;
        bool hasValue = false;
        if (const auto eq = name.find('='); eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            hasValue = true;
        }
        const OptionEntry* entry = nullptr;
        for (const OptionEntry& o : table)
            if (name == o.name) entry = &o;
        if (!entry) fail("unknown option '--" + name + "' (see --help)");
        if (entry->arg) {
            if (!hasValue) {
                if (i + 1 >= argc) fail("--" + name + " needs a value");
                value = argv[++i];
            }
        } else if (hasValue) {
            fail("--" + name + " takes no value");
        }
        entry->set(opt, value);
    }
    return opt;
}

void check(const Options& o) {
    if (o.trios + o.duos + o.singletons < 1) fail("the panel needs at least one trio, duo or singleton");
    if (o.design == sim::Design::CaseControl && static_cast<long long>(o.cases) + o.controls > 10000000)
        fail("--cases plus --controls must not exceed 10000000");
    if (o.dependent && o.categorical < 1) fail("--dependent needs at least one categorical covariate (--categorical)");
    if (o.interaction != 0.0 && o.covariates < 1) fail("--interaction needs at least one continuous covariate (--covariates)");
    if (!o.spacingGiven && o.start >= 250000000 && o.snps > 1)
        fail("--start must lie below 250000000 unless --spacing is given");
}

std::string describe(const sim::Snp& s) {
    return s.id + " at " + std::to_string(s.pos) + (s.typed ? (s.missing ? ", typed with missing genotypes" : ", typed") : ", untyped");
}

} // namespace

int main(int argc, char** argv) {
    Options opt = parse(argc, argv);
    check(opt);
    const sim::ModelWords words = sim::model_words(opt);
    (void)sim::phenotype_header(opt);  // checks the header width before any work

    const sim::Genome genome = sim::build_genome(opt);
    const sim::PanelLayout panel = sim::build_panel(opt);
    const sim::Sample sample = sim::simulate_sample(opt, genome);

    std::error_code ec;
    std::filesystem::create_directories(opt.out, ec);
    if (ec) fail("cannot create folder '" + opt.out + "': " + ec.message());
    const std::string dir = opt.out;

    sim::write_specification_file(opt, words, dir + "/specification.txt");
    sim::write_phenotypes(opt, sample, dir + "/phenotype.dat");
    std::unique_ptr<sim::ExchangeFiles> exchange;
    if (opt.exchange) {
        exchange = std::make_unique<sim::ExchangeFiles>(opt, panel, sample, dir);
        sim::write_phenotype_table(opt, sample, dir + "/phenotypes.txt");
        sim::write_pedigree(opt, dir + "/panel.fam");
    }
    const sim::MapStats stats = sim::write_map_files(opt, genome, panel, sample, dir, exchange.get());
    if (exchange) exchange->close();
    sim::write_truth(opt, genome, panel, sample, words, stats, dir + "/truth.txt");

    int typed = 0;
    for (const sim::Snp& s : genome.snp) typed += s.typed ? 1 : 0;
    std::printf("kestrova-sim: %s design, %d subjects, %d SNPs (%d typed, %d untyped), panel of %zu columns; "
                "causal SNP %s; files in '%s'\n",
                sim::design_name(opt.design), sample.n, genome.size(), typed, genome.size() - typed,
                panel.member.size(), describe(genome.snp[genome.causal]).c_str(), dir.c_str());
    return 0;
}
