// The result files: one per reported effect, each with its header block, column
// heads and one line per SNP (estimate, standard error, Z statistic and two-sided
// p-value, or dashes when the SNP could not be analysed).
//
// Every line reaches its file through one write(2) of the whole line (the header
// block through one write of the whole block), with nothing held back in a buffer:
// a run that is stopped or killed at any moment leaves whole lines only.
#pragma once

#include <string>
#include <vector>

#include "core/failreason.h"
#include "model/model.h"

struct ResultHeader {
  int n = 0;               // used individuals
  int study_snps = 0;      // study SNPs read, before any removal
  bool external = false;   // the external panel is used
  int nTR = 0, nDU = 0, nUN = 0, panel_snps = 0;
  bool phased = true;
  int haplotype_snps = 0;
  int mode = kAdditive;
};

// Describes the SNP of one result line.
struct SnpLine {
  bool typed = true;
  double typed_share = 0.0;  // typed SNPs: 1 - missing fraction
  double md = 0.0;           // untyped SNPs: the tags' information
  const char* id = "";
  int pos = 0;
  char a1 = '?', a2 = '?';
  double freq = 0.0;
};

class ResultFiles {
 public:
  ResultFiles() = default;
  ~ResultFiles();
  ResultFiles(const ResultFiles&) = delete;
  ResultFiles& operator=(const ResultFiles&) = delete;

  // Opens (replacing) every file; "" or the error line for a file that cannot be written.
  std::string open(const std::vector<std::string>& names);
  void write_header(const ResultHeader& h);
  // One line per file: analysed when ok, with file f's estimate est[index[f]].
  void write_snp(const SnpLine& snp, bool ok, const double* est, const double* se, const std::vector<int>& index);
  const std::vector<std::string>& names() const { return names_; }
  // Closes every file; "" or the error line when a write failed.
  std::string close();

 private:
  // Writes text to file f in one system call (more only if the system takes part of it).
  void put(std::size_t f, const std::string& text);

  std::vector<int> fds_;
  std::vector<std::string> names_;
  std::vector<char> failed_;  // per file: a write failed
};

// The two-sided normal p-value of z.
double two_sided_p(double z);

// Why an estimate b with standard error s leaves nothing to test (its line gets
// dashes), or Check::kNone when it can be tested.
Check untestable(double b, double s);

// The text of one result line (with its newline).
std::string result_line(const SnpLine& snp, bool ok, double b, double s);
