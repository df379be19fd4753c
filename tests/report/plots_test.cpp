// The plots as standalone SVG: well-formed XML (by xmllint), a viewBox, one mark per plotted SNP, axis
// titles and ticks, the significance lines, labels of the top signals, lambda.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "plots.h"
#include "stats.h"
#include "support/process.h"

using namespace report;

namespace {

std::size_t count(const std::string& s, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) n++;
  return n;
}

ResultRow row(const std::string& chr, long long pos, const std::string& id, double z) {
  ResultRow r;
  r.chr = chr;
  r.pos = pos;
  r.id = id;
  r.analysed = true;
  r.zval = z;
  r.minus_log10p = minus_log10_p(z);
  return r;
}

// A well-formed XML document, by xmllint (which .ci/run installs).
void expect_xml(const std::string& svg) {
  if (std::system("command -v xmllint >/dev/null 2>&1") != 0) return;
  ScratchDir dir;
  dir.write("plot.svg", svg);
  const RunResult r = run_in(dir.path(), "/bin/sh", {"-c", "xmllint --noout plot.svg"});
  EXPECT_EQ(r.status, 0) << r.err;
}

}  // namespace

TEST(ReportPlots, ManhattanHasOneMarkPerSnpAndLabelsTheTopSignals) {
  std::vector<ResultRow> rows;
  for (int i = 0; i < 40; i++) rows.push_back(row("1", 1000000 + i * 20000, "rs1_" + std::to_string(i), 0.1 * i));
  rows.push_back(row("1", 1500000, "rs<top>", 9.0));  // a name that needs escaping
  for (int i = 0; i < 30; i++) rows.push_back(row("2", 5000000 + i * 50000, "rs2_" + std::to_string(i), -0.05 * i));
  rows.push_back(row("2", 5600000, "rs_near", 8.0));  // within a megabase of rs2 top: no second label
  rows.push_back(row("2", 6000000, "rs2_top", 8.5));
  rows.push_back(row("X", 100, "rsX", 4.0));           // p above 1e-5: no label
  std::vector<const ResultRow*> ptrs;
  for (const ResultRow& r : rows) ptrs.push_back(&r);
  const std::string svg = manhattan_svg(ptrs, "G & co: Manhattan plot", 5);
  expect_xml(svg);
  EXPECT_NE(svg.find("viewBox=\"0 0 1000.0 450.0\""), std::string::npos);
  EXPECT_EQ(count(svg, "<circle"), rows.size());
  EXPECT_EQ(count(svg, "<g fill=\""), 3u);  // one group per chromosome, colours alternating
  EXPECT_NE(svg.find(">Chromosome</text>"), std::string::npos);
  EXPECT_NE(svg.find("G &amp; co: Manhattan plot"), std::string::npos);
  EXPECT_NE(svg.find(">rs&lt;top&gt;</text>"), std::string::npos);
  EXPECT_NE(svg.find(">rs2_top</text>"), std::string::npos);
  EXPECT_EQ(svg.find(">rs_near</text>"), std::string::npos);
  EXPECT_EQ(svg.find(">rsX</text>"), std::string::npos);
  EXPECT_EQ(count(svg, "stroke-dasharray"), 2u);  // 5e-8 and 1e-5
  for (const char* tick : {">1</text>", ">2</text>", ">X</text>", ">0</text>", ">10</text>"})
    EXPECT_NE(svg.find(tick), std::string::npos) << tick;
  // No labels asked for: none drawn.
  EXPECT_EQ(manhattan_svg(ptrs, "t", 0).find(">rs2_top</text>"), std::string::npos);
  // One chromosome: positions in megabases.
  std::vector<const ResultRow*> one(ptrs.begin(), ptrs.begin() + 41);
  const std::string single = manhattan_svg(one, "t", 5);
  expect_xml(single);
  EXPECT_NE(single.find("Position on chromosome 1 (Mb)"), std::string::npos);
  EXPECT_EQ(count(single, "<circle"), 41u);
  // Nothing to draw still gives a valid picture.
  expect_xml(manhattan_svg({}, "empty", 5));
}

TEST(ReportPlots, QqHasOneMarkPerSnpTheBandAndLambda) {
  std::vector<double> values;
  for (int i = 1; i <= 500; i++) values.push_back(minus_log10_p(4.0 * (i % 37) / 37.0));
  const std::string svg = qq_svg(values, 1.0234, "G: QQ plot");
  expect_xml(svg);
  EXPECT_NE(svg.find("viewBox=\"0 0 520.0 520.0\""), std::string::npos);
  EXPECT_EQ(count(svg, "<circle"), values.size());
  EXPECT_EQ(count(svg, "<polygon"), 1u);
  EXPECT_NE(svg.find("&#955; = 1.023"), std::string::npos);
  EXPECT_NE(svg.find("Expected &#8722;log"), std::string::npos);
  EXPECT_NE(svg.find("Observed &#8722;log"), std::string::npos);
  const std::string empty = qq_svg({}, std::nan(""), "empty");
  expect_xml(empty);
  EXPECT_NE(empty.find("&#955; = NA"), std::string::npos);
}
