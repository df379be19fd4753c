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

// The text with &, <, > and quotes escaped for XML.
std::string xml_escape(const std::string& s);

}  // namespace report
