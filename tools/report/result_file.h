// Reading Kestrova result files: the header block, the column heads and one
// line per SNP, analysed or a line of dashes.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace report {

// A user error of the report: the whole "Error: ..." text without the newline.
struct ReportError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One SNP line of a result file. Text fields keep the file's own digits.
struct ResultRow {
  std::string chr;
  std::string id;
  long long pos = 0;
  bool typed = true;
  std::string share;  // typed SNPs: share of used individuals typed, as printed
  std::string md;     // untyped SNPs: the tags' information, as printed
  char effect = 0, other = 0;  // the 1/0 column: the counted allele, then the other
  std::string freq;           // frequency of the counted allele
  bool analysed = false;  // false: a line of dashes
  std::string est, se, z, p;
  double zval = 0.0;        // Z as a number (analysed lines)
  double minus_log10p = 0;  // from Z; NaN when Z is not finite
  bool usable() const;      // analysed with a finite Z: in the plots and lambda
  // From the run's diagnostics file when there is one; empty otherwise.
  std::string n, info, path, analysis;
};

// Reads every SNP line of one result file, tagging each with chr. Throws
// ReportError "Error: <file> line N: ..." on anything that is not a result file
// line, or "Error: <file>: ..." when the file cannot be read.
// sample_size, when given, receives the header's "Sample Size of the Study" (-1
// without one).
std::vector<ResultRow> read_result_file(const std::string& path, const std::string& chr,
                                        long long* sample_size = nullptr);

}  // namespace report
