// kestrova-prepare: turns a study's VCF/BCF or PLINK genotypes, its phenotype
// table and, optionally, a phased reference panel with its pedigree into the
// input files of kestrova, one folder per chromosome.
#include "kestrova_version.h"
#include "run.h"

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using prepare::Settings;

struct Option {
    const char* name;
    const char* arg;  // nullptr: a switch
    const char* help;
    std::function<void(Settings&, const std::string&)> set;
};

std::vector<std::string> list(const std::string& v) { return prepare::words_of(v); }

void append(std::vector<std::string>& to, const std::string& v) {
    for (const std::string& w : list(v)) to.push_back(w);
}

using S = Settings&;
using V = const std::string&;

// --status and --trait: the one response column, of its kind.
auto single_response(prepare::Response kind) {
    return [kind](S s, V v) {
        s.table.response = kind;
        s.table.responses = {v};
    };
}

// --time and --event: column k of the cohort's two.
auto time_event(std::size_t k) {
    return [k](S s, V v) {
        s.table.response = prepare::Response::TimeEvent;
        s.table.responses.resize(2);
        s.table.responses[k] = v;
    };
}

const std::vector<Option>& options() {
    static const std::vector<Option> t = {
        {"vcf", "FILE", "study genotypes: VCF or BCF, plain or bgzipped", [](S s, V v) { s.vcf = v; }},
        {"bfile", "PREFIX", "study genotypes: PLINK 1 binary PREFIX.bed, .bim, .fam", [](S s, V v) { s.bfile = v; }},
        {"phenotypes", "FILE", "phenotype table with a header line", [](S s, V v) { s.phenotypes = v; }},
        {"id", "COLUMN", "sample ID column of the table (default IID)", [](S s, V v) { s.table.idColumn = v; }},
        {"status", "COLUMN", "case-control status column (1 case, 0 control)",
         single_response(prepare::Response::Status)},
        {"time", "COLUMN", "cohort follow-up time column (with --event)", time_event(0)},
        {"event", "COLUMN", "cohort event column (1 event, 0 censored)", time_event(1)},
        {"trait", "COLUMN", "cross-sectional trait column", single_response(prepare::Response::Trait)},
        {"covariates", "A,B,..", "covariate columns, in this order (default: those the model names)",
         [](S s, V v) {
             append(s.table.covariates, v);
             s.covariatesGiven = true;
         }},
        {"plink-coding", nullptr, "-9 is missing in every column; status 2 case, 1 control, 0 missing",
         [](S s, V) { s.table.plinkCoding = true; }},
        {"panel", "FILE", "reference panel: VCF or BCF with phased GT", [](S s, V v) { s.panel = v; }},
        {"pedigree", "FILE", "the panel's pedigree: PLINK .fam or .ped (first six columns)",
         [](S s, V v) { s.pedigree = v; }},
        {"design", "NAME", "case-control, cohort or cross-sectional (default: from the response)",
         [](S s, V v) { s.model.design = v; }},
        {"mode", "NAME", "additive (default), recessive, dominant or codominant", [](S s, V v) { s.model.mode = v; }},
        {"effect", "TERMS", "EFFECT terms, e.g. \"G AGE G*AGE\" (default: G and the covariates)",
         [](S s, V v) { append(s.model.effect, v); }},
        {"output", "TERMS", "OUTPUT terms (default: G)", [](S s, V v) { append(s.model.output, v); }},
        {"categorical", "A,B,..", "categorical covariates", [](S s, V v) { append(s.model.categorical, v); }},
        {"dependent", "A,B,..", "covariates that may depend on the genotype",
         [](S s, V v) { append(s.model.dependent, v); }},
        {"model", "FILE", "model file of keyword lines (DESIGN, MODE, CATEGORICAL, DEPENDENT, EFFECT, OUTPUT)",
         [](S s, V v) { s.modelFile = v; }},
        {"chr", "NAME", "only this chromosome (default: every chromosome present)",
         [](S s, V v) { s.chromosome = v; }},
        {"region", "FROM-TO", "only SNPs at positions FROM to TO", [](S s, V v) { s.region = v; }},
        {"out", "DIR", "output folder; one sub-folder per chromosome (default .)", [](S s, V v) { s.out = v; }},
    };
    return t;
}

void help() {
    std::printf("Usage: kestrova-prepare (--vcf FILE | --bfile PREFIX) --phenotypes FILE RESPONSE [options]\n\n"
                "Writes specification.txt, phenotype.dat, genotype.dat, external.dat and haplotype.dat\n"
                "into OUT/<chromosome>/ for kestrova. RESPONSE: --status, --time with --event, or --trait.\n\n");
    for (const Option& o : options()) {
        std::string head = std::string("  --") + o.name + (o.arg ? std::string(" ") + o.arg : "");
        std::printf("%-24s %s\n", head.c_str(), o.help);
    }
    std::printf("  --help                 this text\n");
    std::printf("  --version              the version\n");
}

[[noreturn]] void stop(const std::string& message) {
    std::printf("Error: %s\n", message.c_str());
    std::fflush(stdout);
    std::exit(1);
}

} // namespace

int main(int argc, char** argv) {
    Settings s;
    bool modelOptions = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--help" || a == "-h") {
            help();
            return 0;
        }
        if (a == "--version") {
            std::printf("kestrova-prepare %s\n", KESTROVA_VERSION_TEXT);
            return 0;
        }
        const Option* o = nullptr;
        for (const Option& c : options())
            if (a == std::string("--") + c.name) o = &c;
        if (!o) stop("unknown option " + ("'" + a + "'") + " (see --help)");
        std::string value;
        if (o->arg) {
            if (i + 1 >= argc) stop(a + " needs a value");
            value = argv[++i];
        }
        const std::string n = o->name;
        modelOptions = modelOptions || n == "design" || n == "mode" || n == "effect" || n == "output" ||
                       n == "categorical" || n == "dependent";
        o->set(s, value);
    }
    if (s.vcf.empty() == s.bfile.empty()) stop("give the study genotypes with one of --vcf and --bfile");
    if (s.phenotypes.empty()) stop("give the phenotype table with --phenotypes");
    if (s.table.responses.empty()) stop("name the response column with --status, --time and --event, or --trait");
    for (const std::string& r : s.table.responses)
        if (r.empty()) stop("a cohort study needs both --time and --event");
    if (s.panel.empty() != s.pedigree.empty()) stop("--panel and --pedigree go together");
    if (!s.modelFile.empty() && modelOptions)
        stop("give the model either with --model or with --design, --mode, --effect, --output, --categorical and "
             "--dependent, not both");
    std::string report;
    const std::string error = prepare::run(s, report);
    if (!error.empty()) stop(error);
    std::fputs(report.c_str(), stdout);
    return 0;
}
