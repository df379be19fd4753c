// kestrova-report: the result files of one or many runs, each on a named
// chromosome, gathered per OUTPUT term into one table sorted by chromosome and
// position, with the genomic-control lambda, a Manhattan and a QQ plot and a
// short summary of the top signals.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "diag_file.h"
#include "result_file.h"

namespace report {

struct RunInput {
  std::string chr;
  std::string prefix;  // the run's -ofile prefix, with or without its trailing "_"
  std::string data;    // folder of the run's input files; "" for that of its result files
};

struct ReportOptions {
  std::vector<RunInput> runs;
  std::string out = "report";       // output files out_<term>.tsv and so on
  std::vector<std::string> terms;   // empty: every term of the runs
  int top = 10;                     // signals listed in the summary
  int labels = 5;                   // signals labelled in the Manhattan plot
  bool png = true;                  // also PNG when a converter is installed
  std::string converter = "rsvg-convert";
  std::string build = "NR";         // genome assembly named in the metadata (NR: not reported)
  std::vector<std::string> regions; // CHR:FROM-TO of regional plots (else the loci below 5e-8)
  int top_loci = -1;                // >= 0: regional plots of the strongest this many loci
  long long flank = 250000;         // base pairs each side of a lead SNP
  bool html = true;                 // OUT_report.html
};

// One term's SNPs over every run, sorted by chromosome and position.
struct TermTable {
  std::string term;
  std::vector<ResultRow> rows;
  double lambda = 0.0;
  long long samples = -1;  // the largest study sample size of the runs' result files
};

// The result files of a run: term name -> file. Throws ReportError when none is found.
std::map<std::string, std::string> find_run_files(const std::string& prefix);

// Reads and sorts one term's files of every run (stable within equal positions);
// diags, when given, holds each run's diagnostics (empty for a run without).
TermTable gather_term(const std::string& term, const std::vector<RunInput>& runs,
                      const std::vector<std::map<std::string, std::string>>& files,
                      const std::vector<DiagTable>& diags = {});

// The table as GWAS-SSF text (kSsfHeads): one line per SNP, #NA where a value is
// missing (the statistics of a line of dashes, info and n without diagnostics).
std::string term_tsv(const TermTable& t);

// A short text summary of one term: counts, lambda and the top signals.
std::string term_summary(const TermTable& t, int top);

// p = 10^-minus_log10p written as the result files write p ("1.23e-412").
std::string p_from_log(double minus_log10p);

// Writes content to path under a temporary name first, then renames it.
void write_file(const std::string& path, const std::string& content);

// Runs the whole report; log receives what the program prints on standard
// output, warnings receives "Warning: ..." lines. Returns "" or the error text.
std::string make_report(const ReportOptions& opt, std::string& log, std::string& warnings);

}  // namespace report
