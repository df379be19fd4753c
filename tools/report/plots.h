// The report's two plots, drawn as standalone SVG by a plain writer: a
// Manhattan plot (chromosomes side by side in alternating colours, lines at the
// genome-wide and suggestive levels, the top signals labelled) and a QQ plot
// (expected against observed -log10 p, with the 95% band of uniform order
// statistics and the genomic-control lambda).
#pragma once

#include <string>
#include <vector>

#include "result_file.h"

namespace report {

inline constexpr std::size_t kThinAbove = 100000;  // more SNPs than this: one mark per occupied pixel cell

// rows: the SNPs to draw, sorted by chromosome and position, each usable().
// labels: how many of the strongest signals below 1e-5 get their identifier
// (one per megabase region).
std::string manhattan_svg(const std::vector<const ResultRow*>& rows, const std::string& title, int labels);

// minus_log10p: the observed values (any order).
std::string qq_svg(std::vector<double> minus_log10p, double lambda, const std::string& title);

// A regional plot: -log10 p against position over [from, to] of one chromosome,
// each SNP coloured by its r² with the lead SNP in five bins (grey without r²),
// the lead a diamond; source_note says where the r² come from.
struct RegionalPoint {
  long long pos = 0;
  double minus_log10p = 0.0;
  double r2 = 0.0;  // NaN: none
  bool lead = false;
};
std::string regional_svg(const std::vector<RegionalPoint>& points, const std::string& chr, long long from,
                         long long to, const std::string& title, const std::string& source_note);

// The colour of an r² bin (0-0.2, 0.2-0.4, ..., 0.8-1), grey for NaN.
const char* r2_colour(double r2);

// The text with &, <, > and quotes escaped for XML.
std::string xml_escape(const std::string& s);

}  // namespace report
