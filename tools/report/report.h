// kestrova-report: the result files of one or many runs, each on a named
// chromosome, gathered per OUTPUT term into one table sorted by chromosome and
// position, with the genomic-control lambda, a Manhattan and a QQ plot and a
// short summary of the top signals.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "result_file.h"

namespace report {

struct RunInput {
  std::string chr;
  std::string prefix;  // the run's -ofile prefix, with or without its trailing "_"
};

struct ReportOptions {
  std::vector<RunInput> runs;
  std::string out = "report";       // output files out_<term>.tsv and so on
  std::vector<std::string> terms;   // empty: every term of the runs
  int top = 10;                     // signals listed in the summary
  int labels = 5;                   // signals labelled in the Manhattan plot
  bool png = true;                  // also PNG when a converter is installed
  std::string converter = "rsvg-convert";
};

// One term's SNPs over every run, sorted by chromosome and position.
struct TermTable {
  std::string term;
  std::vector<ResultRow> rows;
  double lambda = 0.0;
};

// The result files of a run: term name -> file. Throws ReportError when none is found.
std::map<std::string, std::string> find_run_files(const std::string& prefix);

// Reads and sorts one term's files of every run (stable within equal positions).
TermTable gather_term(const std::string& term, const std::vector<RunInput>& runs,
                      const std::vector<std::map<std::string, std::string>>& files);

// The table as TSV text: one line per SNP, NA in the fields of a line of dashes.
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
