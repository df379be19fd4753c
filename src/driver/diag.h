// The diagnostics file of -diag: a tab-separated table with one row per written
// SNP, in map order: how the SNP was analysed (path, analysis, tags, MD, retained
// haplotypes, iterations, log-likelihood) and, for a line of dashes, why. The file
// is written under a temporary name and takes its own name only when the run is
// complete, so a stopped run leaves no diagnostics file that looks whole.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "core/failreason.h"
#include "driver/plan.h"
#include "driver/workers.h"
#include "model/rundata.h"

// The analysis of a SNP on a path, named in words; "NA" when no design was built.
const char* analysis_name(int path, int design, int anal, bool binary_trait);

// The reason column: "" when the result was written, else "<stage>: <check>".
std::string reason_text(const FailReason& f);

class DiagFile {
 public:
  DiagFile() = default;
  ~DiagFile();  // an unfinished file is removed
  DiagFile(const DiagFile&) = delete;
  DiagFile& operator=(const DiagFile&) = delete;

  // Opens the temporary file and writes the header; "" or the error line. terms:
  // the result files' terms, in file order, for the reasons.
  std::string open(const std::string& name, const std::vector<std::string>& terms);
  const std::vector<std::string>& terms() const { return terms_; }
  bool is_open() const { return file_ != nullptr; }
  // The row of job's SNP from its result r; reason is the reason column.
  void write_row(const RunData& d, const SnpJob& job, const SnpResult& r, const std::string& reason);
  // Closes the file and gives it its name; "" or the error line.
  std::string finish();
  // Removes the temporary file (a run that stopped).
  void discard();

 private:
  std::FILE* file_ = nullptr;
  std::string name_, temp_;
  std::vector<std::string> terms_;
};
