// Text the report writes is never cut short: a long SNP identifier keeps its
// summary line whole, and huge -log10 p values keep all their digits; but an
// error line quotes a long field by its first 40 characters.
#include <gtest/gtest.h>

#include <algorithm>

#include "report.h"
#include "stats.h"
#include "support/process.h"

using namespace report;

TEST(ReportLongText, SummaryLinesStayWhole) {
  TermTable t;
  t.term = "G";
  ResultRow r;
  r.chr = "1";
  r.id = std::string(600, 'a');
  r.pos = 1000;
  r.share = "1.00";
  r.freq = "0.25";
  r.analysed = true;
  r.est = "9.9";
  r.se = "0.1";
  r.z = "1e150";
  r.p = "0.00e+00";
  r.zval = 1e150;
  r.minus_log10p = minus_log10_p(r.zval);
  t.rows = {r, r};
  t.lambda = lambda_gc({r.zval, r.zval});

  const std::string s = term_summary(t, 10);
  EXPECT_EQ(std::count(s.begin(), s.end(), '\n'), 5);  // counts, levels, heads, two signals
  EXPECT_EQ(s.back(), '\n');
  EXPECT_NE(s.find("  " + r.id + "  "), std::string::npos);
  EXPECT_GT(formatted("%.6f", r.minus_log10p).size(), 300u);
  EXPECT_NE(s.find(formatted("%.4f", t.lambda)), std::string::npos);
  EXPECT_NE(term_tsv(t).find("\t" + formatted("%.6f", r.minus_log10p) + "\t"), std::string::npos);
  const std::string p = p_from_log(r.minus_log10p);
  EXPECT_EQ(p.rfind("1.00e-", 0), 0u);
  EXPECT_GT(p.size(), 300u);
}

TEST(ReportLongText, ErrorLinesQuoteAFieldByItsFirst40Characters) {
  ScratchDir dir;
  dir.write("r_G.out", "Typd       SNP-id       Position  1/0    MD     Freq\n----\n1.00 rs1 " + std::string(5000, '7') +
                           "x C/T - 0.1 1 1 1 1\n");
  try {
    read_result_file((dir.path() / "r_G.out").string(), "1");
    FAIL() << "read a bad position";
  } catch (const ReportError& e) {
    EXPECT_NE(std::string(e.what()).find("line 3: position '" + std::string(40, '7') + "...' is not a whole number"),
              std::string::npos);
  }
}
