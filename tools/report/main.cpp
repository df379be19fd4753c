// kestrova-report: command line of the report over Kestrova result files.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "kestrova_version.h"
#include "report.h"

namespace {

constexpr const char* kUsage = R"(Usage: kestrova-report [options] RUN...

Gathers the result files of one or more Kestrova runs, per OUTPUT term, into one
table sorted by chromosome and position, and writes for each term:
  OUT_<term>.tsv.gz         the summary statistics in the GWAS Catalog's format
                            (GWAS-SSF: chromosome base_pair_location effect_allele
                            other_allele beta standard_error effect_allele_frequency
                            p_value neg_log_10_p_value variant_id rsid info n, then
                            z typed md path analysis; #NA where missing), bgzip-
                            compressed, with its tabix index (.tbi) and metadata
                            (OUT_<term>.tsv.gz-meta.yaml)
  OUT_<term>_manhattan.svg  Manhattan plot, lines at p = 5e-8 and 1e-5
  OUT_<term>_qq.svg         QQ plot with its 95% band and the genomic-control lambda
  OUT_<term>_region_<chr>_<from>_<to>.svg
                            regional plot of each locus (below): -log10 p by position,
                            coloured by r2 with the lead SNP
  (and .png of every plot when rsvg-convert is installed)
and OUT_summary.txt, the lambda and the top signals of every term (also printed),
and OUT_report.html, all of it on one self-contained page.
The effect allele is the counted allele (the first letter of the result files'
1/0 column). info and n come from each run's diagnostics file PREFIX.diag (kestrova
-diag PREFIX.diag -ofile PREFIX); without one they are #NA.

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
  --build NAME             genome assembly named in the metadata: GRCh38, GRCh37,
                           NCBI36, NCBI35 or NCBI34 [default: NR, not reported]
  --data PREFIX=DIR        the input files (genotype.dat, external.dat,
                           haplotype.dat, specification.txt) of the run PREFIX are
                           in DIR (repeatable) [default: the folder of its result files]
  --regions CHR:FROM-TO    a regional plot of this region, led by its strongest SNP
                           (repeatable) [default: every locus whose lead has p < 5e-8]
  --top-loci K             regional plots of the K strongest loci, whatever their p
  --flank BP               base pairs each side of a lead SNP [default: 250000]
  --no-png                 write the plots as SVG only
  --no-html                write no OUT_report.html
  --help                   this text
  --version                the version

A locus is a lead SNP and lead +- flank; a lead is the strongest SNP not within the
flank of a stronger lead. r2 comes from the panel's phased haplotypes where the
lead and the SNP both have them, else from the study genotypes.
Chromosomes are ordered 1-22, X, Y, MT, then other names alphabetically; a leading
'chr' is ignored for the order. Errors are printed on standard error as
"Error: ..." and end the program with status 1.
)";

[[noreturn]] void stop(const std::string& error) {
  std::fprintf(stderr, "%s\n", error.c_str());
  std::exit(1);
}

int count_option(const std::string& opt, const std::string& v, long limit = 100000) {
  char* end = nullptr;
  const long x = std::strtol(v.c_str(), &end, 10);
  if (v.empty() || *end != '\0' || x < 0 || x > limit)
    stop("Error: " + opt + ": '" + v + "' is not a whole number from 0 to " + std::to_string(limit));
  return static_cast<int>(x);
}

}  // namespace

int main(int argc, char** argv) {
  report::ReportOptions opt;
  std::string chr;  // chromosome of the bare prefixes after --chr
  std::map<std::string, std::string> data;  // --data: run prefix -> its input folder
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
    } else if (a == "--no-html") {
      opt.html = false;
      chr.clear();
    } else if (a == "--build") {
      opt.build = value();
      if (opt.build != "GRCh38" && opt.build != "GRCh37" && opt.build != "NCBI36" && opt.build != "NCBI35" &&
          opt.build != "NCBI34" && opt.build != "NR")
        stop("Error: --build '" + opt.build + "': expected GRCh38, GRCh37, NCBI36, NCBI35, NCBI34 or NR");
      chr.clear();
    } else if (a == "--data") {
      const std::string& v = value();
      const std::size_t eq = v.rfind('=');
      if (eq == std::string::npos || eq == 0 || eq + 1 == v.size()) stop("Error: --data '" + v + "': expected PREFIX=DIR");
      data[v.substr(0, eq)] = v.substr(eq + 1);
      chr.clear();
    } else if (a == "--regions") {
      opt.regions.push_back(value());
      chr.clear();
    } else if (a == "--top-loci") {
      opt.top_loci = count_option(a, value());
      chr.clear();
    } else if (a == "--flank") {
      opt.flank = count_option(a, value(), 100000000);
      chr.clear();
    } else if (a.rfind("--", 0) == 0) {
      stop("Error: unknown option '" + a + "' (see --help)");
    } else if (!chr.empty()) {
      opt.runs.push_back({chr, a, ""});
    } else {
      const std::size_t colon = a.find(':');
      if (colon == std::string::npos || colon == 0 || colon + 1 == a.size())
        stop("Error: run '" + a + "' has no chromosome: write CHR:PREFIX or --chr CHR PREFIX");
      opt.runs.push_back({a.substr(0, colon), a.substr(colon + 1), ""});
    }
  }
  for (auto& [prefix, dir] : data) {
    bool named = false;
    for (report::RunInput& run : opt.runs)
      if (run.prefix == prefix || run.prefix == prefix + "_" || run.prefix + "_" == prefix) {
        run.data = dir;
        named = true;
      }
    if (!named) stop("Error: --data '" + prefix + "=" + dir + "': no run has the prefix '" + prefix + "'");
  }
  std::string log, warnings;
  const std::string error = report::make_report(opt, log, warnings);
  std::fputs(warnings.c_str(), stderr);
  if (!error.empty()) stop(error);
  std::fputs(log.c_str(), stdout);
  return 0;
}
