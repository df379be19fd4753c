// kestrova-report: command line of the report over Kestrova result files.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kestrova_version.h"
#include "report.h"

namespace {

constexpr const char* kUsage = R"(Usage: kestrova-report [options] RUN...

Gathers the result files of one or more Kestrova runs, per OUTPUT term, into one
table sorted by chromosome and position, and writes for each term:
  OUT_<term>.tsv            CHR SNP POS TYPED MD FREQ BETA SE Z P NEG_LOG10_P
                            (a line of dashes keeps its SNP with NA fields)
  OUT_<term>_manhattan.svg  Manhattan plot, lines at p = 5e-8 and 1e-5
  OUT_<term>_qq.svg         QQ plot with its 95% band and the genomic-control lambda
  (and .png of both plots when rsvg-convert is installed)
and OUT_summary.txt, the lambda and the top signals of every term (also printed).
NEG_LOG10_P is computed from Z and stays exact where the result file prints p as 0.

Runs (at least one; a run is the -ofile prefix of a Kestrova run, with or without
its trailing '_', whose result files are PREFIX_<term>.out):
  CHR:PREFIX               the run PREFIX, analysed on chromosome CHR
  --chr CHR PREFIX...      the runs PREFIX... (up to the next option), all on chromosome CHR

Options:
  --out OUT                output file prefix [default: report]
  --term NAME              report only this term (repeatable) [default: every term]
  --top N                  signals listed per term in the summary [default: 10]
  --labels N               signals labelled in each Manhattan plot, at most one per
                           megabase, each below p = 1e-5 [default: 5]
  --no-png                 write the plots as SVG only
  --help                   this text
  --version                the version

Chromosomes are ordered 1-22, X, Y, MT, then other names alphabetically; a leading
'chr' is ignored for the order. Errors are printed on standard error as
"Error: ..." and end the program with status 1.

Example:
  kestrova-report --out gwas --chr 1 chr1/results --chr 2 chr2/results
  kestrova-report --out gwas 1:chr1/results 2:chr2/results
)";

[[noreturn]] void stop(const std::string& error) {
  std::fprintf(stderr, "%s\n", error.c_str());
  std::exit(1);
}

int count_option(const std::string& opt, const std::string& v) {
  char* end = nullptr;
  const long x = std::strtol(v.c_str(), &end, 10);
  if (v.empty() || *end != '\0' || x < 0 || x > 100000)
    stop("Error: " + opt + ": '" + v + "' is not a whole number from 0 to 100000");
  return static_cast<int>(x);
}

}  // namespace

int main(int argc, char** argv) {
  report::ReportOptions opt;
  std::string chr;  // chromosome of the bare prefixes after --chr
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(kUsage, stderr);
    return 1;
  }
  for (std::size_t i = 0; i < args.size(); i++) {
    const std::string& a = args[i];
    auto value = [&]() -> const std::string& {
      if (i + 1 >= args.size()) stop("Error: " + a + " needs a value");
      return args[++i];
    };
    if (a == "--help" || a == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    } else if (a == "--version") {
      std::printf("kestrova-report %s\n", KESTROVA_VERSION_TEXT);
      return 0;
    } else if (a == "--chr") {
      chr = value();
      if (chr.empty()) stop("Error: --chr: empty chromosome name");
    } else if (a == "--out") {
      opt.out = value();
      chr.clear();
    } else if (a == "--term") {
      opt.terms.push_back(value());
      chr.clear();
    } else if (a == "--top") {
      opt.top = count_option(a, value());
      chr.clear();
    } else if (a == "--labels") {
      opt.labels = count_option(a, value());
      chr.clear();
    } else if (a == "--no-png") {
      opt.png = false;
      chr.clear();
    } else if (a.rfind("--", 0) == 0) {
      stop("Error: unknown option '" + a + "' (see --help)");
    } else if (!chr.empty()) {
      opt.runs.push_back({chr, a});
    } else {
      const std::size_t colon = a.find(':');
      if (colon == std::string::npos || colon == 0 || colon + 1 == a.size())
        stop("Error: run '" + a + "' has no chromosome: write CHR:PREFIX or --chr CHR PREFIX");
      opt.runs.push_back({a.substr(0, colon), a.substr(colon + 1)});
    }
  }
  std::string log, warnings;
  const std::string error = report::make_report(opt, log, warnings);
  std::fputs(warnings.c_str(), stderr);
  if (!error.empty()) stop(error);
  std::fputs(log.c_str(), stdout);
  return 0;
}
