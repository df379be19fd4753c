// The report as one self-contained HTML page: the run summary, each term's
// Manhattan and QQ plots, its top signals and its regional plots, every plot
// inline SVG (no network, no scripts).
#pragma once

#include <map>
#include <string>
#include <vector>

#include "result_file.h"

namespace report {

struct HtmlTerm {
  std::string term;
  std::size_t snps = 0, analysed = 0;
  double lambda = 0.0;
  std::vector<ResultRow> top;  // strongest signals first
  std::string manhattan, qq;   // SVG documents
  std::vector<std::pair<std::string, std::string>> regions;  // caption, SVG document
};

struct HtmlSummary {
  std::string title, software, build, design, model;
  long long samples = -1, cases = -1, controls = -1;
  std::map<std::string, std::size_t> paths;    // SNPs by analysis path (from the diagnostics)
  std::map<std::string, std::size_t> reasons;  // lines of dashes by reason
  bool diagnostics = false;
  std::vector<HtmlTerm> terms;
};

std::string report_html(const HtmlSummary& s);

}  // namespace report
