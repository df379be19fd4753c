#include "diag_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <vector>

#include "result_file.h"

namespace report {

namespace {

std::vector<std::string> split_tabs(const std::string& line) {
  std::vector<std::string> out;
  std::size_t start = 0;
  while (true) {
    const std::size_t tab = line.find('\t', start);
    out.push_back(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
    if (tab == std::string::npos) return out;
    start = tab + 1;
  }
}

}  // namespace

std::string diag_key(const std::string& id, long long pos) { return id + " " + std::to_string(pos); }

std::string diag_path(const std::string& prefix) {
  std::string p = prefix;
  if (!p.empty() && p.back() == '_') p.pop_back();
  return p + ".diag";
}

DiagTable read_diag_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ReportError("Error: " + path + ": cannot be read (" + std::strerror(errno) + ")");
  std::string line;
  long long number = 0;
  auto fail = [&](const std::string& what) {
    throw ReportError("Error: " + path + " line " + std::to_string(number) + ": " + what);
  };
  auto next = [&]() {
    if (!std::getline(in, line)) return false;
    number++;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
  };
  if (!next()) throw ReportError("Error: " + path + ": empty, not a diagnostics file");
  const std::vector<std::string> heads = split_tabs(line);
  auto column = [&](const char* name) {
    for (std::size_t k = 0; k < heads.size(); k++)
      if (heads[k] == name) return static_cast<int>(k);
    return -1;
  };
  const int id = column("SNP-id"), pos = column("Position"), path_c = column("Path"), analysis = column("Analysis"),
            n = column("N"), cases = column("N_cases"), controls = column("N_controls"), info = column("Info"),
            reason = column("Reason");
  if (id != 0 || pos != 1 || path_c < 0 || analysis < 0) fail("not the header of a diagnostics file");
  DiagTable rows;
  while (next()) {
    if (line.empty()) continue;
    std::vector<std::string> f = split_tabs(line);
    if (f.size() + 1 == heads.size()) f.emplace_back();  // an empty last column
    if (f.size() != heads.size())
      fail("expected " + std::to_string(heads.size()) + " tab-separated fields, found " + std::to_string(f.size()));
    long long p = 0;
    if (f[1].empty() || f[1].size() > 12 || f[1].find_first_not_of("0123456789") != std::string::npos)
      fail("position '" + f[1].substr(0, 40) + "' is not a whole number");
    p = std::stoll(f[1]);
    auto at = [&](int k) { return k < 0 || f[static_cast<std::size_t>(k)] == "NA" ? std::string() : f[static_cast<std::size_t>(k)]; };
    rows[diag_key(f[0], p)] = DiagRow{at(path_c), at(analysis), at(n), at(cases), at(controls), at(info), at(reason)};
  }
  if (in.bad()) throw ReportError("Error: " + path + ": read failed");
  return rows;
}

}  // namespace report
