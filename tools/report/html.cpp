#include "html.h"

#include <cmath>

#include "plots.h"
#include "stats.h"

namespace report {

namespace {

std::string esc(const std::string& s) { return xml_escape(s); }

// An SVG document as an element of the page: without its XML declaration and
// namespace, which an HTML page does not need.
std::string inline_svg(const std::string& svg) {
  const std::size_t at = svg.find("<svg");
  if (at == std::string::npos) return "";
  std::string out = svg.substr(at);
  const std::string ns = " xmlns=\"http://www.w3.org/2000/svg\"";
  if (const std::size_t n = out.find(ns); n != std::string::npos) out.erase(n, ns.size());
  return out;
}

std::string count(long long v) { return v < 0 ? "n/a" : std::to_string(v); }

std::string or_na(const std::string& v) { return v.empty() ? "n/a" : v; }

}  // namespace

std::string report_html(const HtmlSummary& s) {
  std::string h;
  h += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + esc(s.title) + "</title>\n";
  h += "<style>\n"
       "body{font-family:Helvetica,Arial,sans-serif;margin:2em auto;max-width:1100px;color:#222}\n"
       "h1{font-size:1.6em}h2{font-size:1.3em;margin-top:2em;border-bottom:1px solid #ccc}\n"
       "table{border-collapse:collapse;margin:0.5em 0 1.5em}td,th{border:1px solid #ccc;padding:3px 8px;"
       "text-align:right;font-size:0.9em}th{background:#f0f0f0}td.l,th.l{text-align:left}\n"
       "svg{max-width:100%;height:auto;display:block;margin:0.5em 0}figure{margin:1em 0}"
       "figcaption{font-size:0.9em;color:#444}\n"
       "</style>\n</head>\n<body>\n";
  h += "<h1>" + esc(s.title) + "</h1>\n";
  h += "<h2>Run summary</h2>\n<table>\n";
  auto row = [&](const std::string& k, const std::string& v) {
    h += "<tr><th class=\"l\">" + esc(k) + "</th><td class=\"l\">" + esc(v) + "</td></tr>\n";
  };
  row("Program", s.software);
  row("Design", s.design.empty() ? "n/a" : s.design);
  row("Model (EFFECT)", s.model.empty() ? "n/a" : s.model);
  row("Genome assembly", s.build == "NR" ? "not given" : s.build);
  row("Subjects", count(s.samples));
  if (s.cases >= 0) row("Cases / controls", count(s.cases) + " / " + count(s.controls));
  for (const HtmlTerm& t : s.terms)
    row("Genomic-control lambda, " + t.term, std::isfinite(t.lambda) ? formatted("%.4f", t.lambda) : "n/a");
  h += "</table>\n";
  if (s.diagnostics) {
    h += "<table>\n<tr><th class=\"l\">Analysis path</th><th>SNPs</th></tr>\n";
    for (const auto& [path, n] : s.paths)
      h += "<tr><td class=\"l\">" + esc(path) + "</td><td>" + std::to_string(n) + "</td></tr>\n";
    h += "</table>\n<table>\n<tr><th class=\"l\">Why a line has dashes</th><th>SNPs</th></tr>\n";
    if (s.reasons.empty()) h += "<tr><td class=\"l\">(no line of dashes)</td><td>0</td></tr>\n";
    for (const auto& [reason, n] : s.reasons)
      h += "<tr><td class=\"l\">" + esc(reason) + "</td><td>" + std::to_string(n) + "</td></tr>\n";
    h += "</table>\n";
  } else {
    h += "<p>No diagnostics file was found beside the result files (run kestrova with -diag), so paths, "
         "reasons, info and n are not shown.</p>\n";
  }
  for (const HtmlTerm& t : s.terms) {
    h += "<h2>Term " + esc(t.term) + "</h2>\n";
    h += "<p>" + std::to_string(t.snps) + " SNPs, " + std::to_string(t.analysed) + " analysed.</p>\n";
    h += "<figure>" + inline_svg(t.manhattan) + "<figcaption>Manhattan plot</figcaption></figure>\n";
    h += "<figure>" + inline_svg(t.qq) + "<figcaption>QQ plot</figcaption></figure>\n";
    h += "<h3>Top signals</h3>\n<table>\n<tr><th class=\"l\">Chr</th><th>Position</th><th class=\"l\">SNP</th>"
         "<th class=\"l\">Effect allele</th><th class=\"l\">Other allele</th><th>Frequency</th><th>Beta</th>"
         "<th>SE</th><th>p</th><th>N</th><th>Info</th><th class=\"l\">Path</th></tr>\n";
    for (const ResultRow& r : t.top)
      h += "<tr><td class=\"l\">" + esc(r.chr) + "</td><td>" + std::to_string(r.pos) + "</td><td class=\"l\">" +
           esc(r.id) + "</td><td class=\"l\">" + std::string(1, r.effect) + "</td><td class=\"l\">" +
           std::string(1, r.other) + "</td><td>" + esc(r.freq) + "</td><td>" + esc(r.est) + "</td><td>" + esc(r.se) +
           "</td><td>" + esc(r.p) + "</td><td>" + esc(or_na(r.n)) + "</td><td>" + esc(or_na(r.info)) +
           "</td><td class=\"l\">" + esc(or_na(r.path)) + "</td></tr>\n";
    h += "</table>\n";
    if (!t.regions.empty()) h += "<h3>Regional plots</h3>\n";
    for (const auto& [caption, svg] : t.regions)
      h += "<figure>" + inline_svg(svg) + "<figcaption>" + esc(caption) + "</figcaption></figure>\n";
  }
  h += "</body>\n</html>\n";
  return h;
}

}  // namespace report
