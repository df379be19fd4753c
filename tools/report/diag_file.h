// Reading a run's diagnostics file (kestrova -diag PREFIX.diag, beside the result
// files PREFIX_<term>.out): per SNP its path, analysis, sample size and Info.
#pragma once

#include <string>
#include <unordered_map>

namespace report {

// One row of a diagnostics file; empty text where the file has no such column.
struct DiagRow {
  std::string path, analysis, n, cases, controls, info, reason;
};

// Rows by "<SNP-id> <position>".
using DiagTable = std::unordered_map<std::string, DiagRow>;

std::string diag_key(const std::string& id, long long pos);

// The diagnostics file beside the result files of the run PREFIX (with or without
// its trailing '_'): PREFIX.diag.
std::string diag_path(const std::string& prefix);

// Reads a diagnostics file by its header's column names (files of older programs
// without N or Info read too). Throws ReportError "Error: <file> line N: ..." on a
// row that does not fit the header.
DiagTable read_diag_file(const std::string& path);

}  // namespace report
