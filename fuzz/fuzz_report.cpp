// kestrova-report's result file reader, then everything the report makes of the
// rows: the sorted table, its TSV, the summary and both plots. The input's first
// byte chooses the chromosome name and how many signals the summary lists and
// the Manhattan plot labels; the rest is the result file.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "input_file.h"
#include "plots.h"
#include "report.h"

namespace {

std::size_t count_lines(const std::string& s) {
  std::size_t n = 0;
  for (char c : s) n += c == '\n';
  return n;
}

// Text written to a file the report makes: whole lines only.
void check_text(const std::string& s) {
  if (s.empty() || s.back() != '\n') std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const char* const kChromosomes[4] = {"1", "X", "chr22", "scaffold_7"};
  const unsigned pick = data[0];
  const std::string chr = kChromosomes[pick % 4];
  const int top = static_cast<int>((pick >> 2) & 7u);
  const int labels = static_cast<int>((pick >> 5) & 7u);
  InputFile file(data + 1, size - 1);

  report::TermTable t;
  try {
    t = report::gather_term("G", {{chr, "run", ""}}, {{{"G", file.name()}}});
  } catch (const report::ReportError& e) {
    // main prints the text and a newline: one short line, starting "Error: ".
    const std::string what = e.what();
    if (what.rfind("Error: ", 0) != 0 || what.find('\n') != std::string::npos || what.size() > 400) std::abort();
    return 0;
  }

  std::vector<const report::ResultRow*> plotted;
  std::vector<double> values;
  for (std::size_t i = 0; i < t.rows.size(); i++) {
    const report::ResultRow& r = t.rows[i];
    if (r.chr != chr || r.id.empty() || r.freq.empty() || r.pos < 0) std::abort();
    if (i > 0 && r.pos < t.rows[i - 1].pos) std::abort();
    if (r.typed == r.share.empty() || r.typed != r.md.empty()) std::abort();
    if (r.analysed == r.p.empty() || (!r.analysed && r.usable())) std::abort();
    if (r.usable()) {
      plotted.push_back(&r);
      values.push_back(r.minus_log10p);
    }
  }
  if (plotted.empty() != std::isnan(t.lambda)) std::abort();

  const std::string tsv = report::term_tsv(t);
  check_text(tsv);
  if (count_lines(tsv) != t.rows.size() + 1) std::abort();
  const std::string summary = report::term_summary(t, top);
  check_text(summary);
  const std::size_t listed = std::min(plotted.size(), static_cast<std::size_t>(top));
  if (count_lines(summary) != 2 + (listed > 0 ? listed + 1 : 0)) std::abort();
  check_text(report::manhattan_svg(plotted, "G: Manhattan plot", labels));
  check_text(report::qq_svg(values, t.lambda, "G: QQ plot"));
  return 0;
}
