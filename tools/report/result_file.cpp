#include "result_file.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "stats.h"

namespace report {

namespace {

constexpr const char* kColumnHeads = "Typd       SNP-id       Position  1/0    MD     Freq";
constexpr const char* kDash = "-";
constexpr int kFields = 10;
constexpr std::size_t kShown = 40;  // characters of a field an error line quotes

// A field as an error line quotes it: at most kShown characters, then "...".
std::string shown(const std::string& field) {
  return field.size() <= kShown ? field : field.substr(0, kShown) + "...";
}

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> out;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) i++;
    const std::size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') i++;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

bool parse_double(const std::string& s, double& v) {
  if (s.empty()) return false;
  char* end = nullptr;
  v = std::strtod(s.c_str(), &end);  // "inf" and "nan" are what printf writes for them
  return *end == '\0';
}

bool parse_position(const std::string& s, long long& v) {
  if (s.empty() || s.size() > 12) return false;
  for (char c : s)
    if (c < '0' || c > '9') return false;
  v = std::stoll(s);
  return true;
}

}  // namespace

bool ResultRow::usable() const { return analysed && std::isfinite(zval); }

std::vector<ResultRow> read_result_file(const std::string& path, const std::string& chr, long long* sample_size) {
  if (sample_size) *sample_size = -1;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ReportError("Error: " + path + ": cannot be read (" + std::strerror(errno) + ")");
  std::vector<ResultRow> rows;
  std::string line;
  long long number = 0;
  bool heads = false, rule = false;
  auto fail = [&](const std::string& what) {
    throw ReportError("Error: " + path + " line " + std::to_string(number) + ": " + what);
  };
  while (std::getline(in, line)) {
    number++;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!heads) {
      heads = line.compare(0, std::strlen(kColumnHeads), kColumnHeads) == 0;
      long long size = 0;
      if (sample_size && std::sscanf(line.c_str(), "Sample Size of the Study :%lld", &size) == 1) *sample_size = size;
      continue;
    }
    if (!rule) {
      if (line.compare(0, 4, "----") != 0) fail("the column heads are not followed by their rule of dashes");
      rule = true;
      continue;
    }
    const std::vector<std::string> f = split(line);
    if (f.empty()) continue;
    if (static_cast<int>(f.size()) != kFields)
      fail("expected 10 fields, found " + std::to_string(f.size()));
    ResultRow r;
    r.chr = chr;
    double v = 0.0;
    r.typed = f[0] != "no";
    if (r.typed) {
      if (!parse_double(f[0], v) || !(v >= 0.0 && v <= 1.0))
        fail("typed share '" + shown(f[0]) + "' is not a number from 0 to 1");
      r.share = f[0];
      if (f[4] != kDash) fail("a typed SNP has the MD value '" + shown(f[4]) + "' (expected '-')");
    } else {
      if (!parse_double(f[4], v)) fail("MD value '" + shown(f[4]) + "' is not a number");
      r.md = f[4];
    }
    r.id = f[1];
    if (!parse_position(f[2], r.pos)) fail("position '" + shown(f[2]) + "' is not a whole number");
    if (f[3].size() != 3 || f[3][1] != '/') fail("alleles '" + shown(f[3]) + "' are not of the form A/B");
    r.effect = f[3][0];
    r.other = f[3][2];
    if (!parse_double(f[5], v)) fail("frequency '" + shown(f[5]) + "' is not a number");
    r.freq = f[5];
    const int dashes = (f[6] == kDash) + (f[7] == kDash) + (f[8] == kDash) + (f[9] == kDash);
    if (dashes == 4) {
      r.analysed = false;
      r.minus_log10p = std::nan("");
    } else if (dashes == 0) {
      const char* names[] = {"estimate", "standard error", "Z statistic", "p-value"};
      for (int k = 6; k < kFields; k++)
        if (!parse_double(f[static_cast<std::size_t>(k)], v))
          fail(std::string(names[k - 6]) + " '" + shown(f[static_cast<std::size_t>(k)]) + "' is not a number");
      r.analysed = true;
      r.est = f[6];
      r.se = f[7];
      r.z = f[8];
      r.p = f[9];
      parse_double(f[8], r.zval);
      r.minus_log10p = std::isfinite(r.zval) ? minus_log10_p(r.zval) : std::nan("");
    } else {
      fail("estimate, standard error, Z and p must be all numbers or all dashes");
    }
    rows.push_back(std::move(r));
  }
  if (in.bad()) throw ReportError("Error: " + path + ": read failed");
  if (!heads) throw ReportError("Error: " + path + ": not a Kestrova result file (no column heads found)");
  if (!rule) fail("the column heads are not followed by their rule of dashes");
  return rows;
}

}  // namespace report
