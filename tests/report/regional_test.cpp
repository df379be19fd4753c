// Regional plots: the loci chosen, and r² with the lead from the panel's
// haplotypes or the study genotypes, against R's cor() of the same columns.
#include <gtest/gtest.h>

#include <cmath>

#include "regional.h"
#include "support/process.h"

namespace {

report::ResultRow row(long long pos, double minus_log10p, const std::string& id) {
  report::ResultRow r;
  r.chr.assign(1, '7');
  r.id = id;
  r.pos = pos;
  r.analysed = true;
  r.zval = 1.0;
  r.minus_log10p = minus_log10p;
  return r;
}

}  // namespace

TEST(RegionalPlot, LociAndTheirR2AgainstR) {
  report::TermTable t;
  t.rows = {row(1000, 9.0, "rs1"), row(2000, 3.0, "rs2"), row(3000, 1.0, "rs3"), row(4000, 2.0, "rs4"),
            row(900000, 8.0, "rs5")};
  // Leads below 5e-8, none within the flank of a stronger one; the top-k form; a given region.
  report::LocusOptions o;
  o.flank = 250000;
  auto leads = [&] {
    std::vector<std::string> ids;
    for (const report::Locus& l : report::choose_loci(t, o)) ids.push_back(l.lead->id);
    return ids;
  };
  EXPECT_EQ(leads(), (std::vector<std::string>{"rs1", "rs5"}));
  o.top_loci = 1;
  EXPECT_EQ(leads(), std::vector<std::string>{"rs1"});
  o.regions = {{"chr7", 1500, 4500}};
  EXPECT_EQ(leads(), std::vector<std::string>{"rs2"});

  // Panel: rs1, rs2, rs3 phased (rs4 is typed only); study genotypes of rs1 and rs4.
  // R: h1 = c(1,0,1,1,0,0,1,0,1,1), h2 = c(1,0,1,0,0,0,1,0,1,1), h3 = c(0,1,1,0,1,0,0,1,1,0):
  // cor(h1,h2)^2 = 0.666666666666666, cor(h1,h3)^2 = 0.166666666666667;
  // g1 = c(2,1,0,1,2,0,1), g4 = c(0,1,2,1,NA,1,2): cor(g1,g4,use="complete.obs")^2 = 0.418685121107266.
  ScratchDir dir;
  dir.write("external.dat", "p1 1000 A C 0 1\np2 2000 A C 1 1\np3 3000 A C 0 0\n");
  dir.write("haplotype.dat", "p1 1 0 1 1 0 0 1 0 1 1\np2 1010001011\r\np3 0 1 1 0 1 0 0 1 1 0");
  dir.write("genotype.dat", "s1 1000 0 A C 2 1 0 1 2 0 1\ns4 4000 0 A C 0 1 2 1 9 1 2\n");
  o = report::LocusOptions{};
  o.top_loci = 1;
  const report::Locus locus = report::choose_loci(t, o).at(0);
  const auto points = report::locus_ld(t, locus, dir.path().string());
  ASSERT_EQ(points.size(), 4u);
  EXPECT_EQ(points[0].source, 'l');
  EXPECT_NEAR(points[1].r2, 0.666666666666666, 1e-12);
  EXPECT_EQ(points[1].source, 'p');
  EXPECT_NEAR(points[2].r2, 0.166666666666667, 1e-12);
  EXPECT_NEAR(points[3].r2, 0.418685121107266, 1e-12);
  EXPECT_EQ(points[3].source, 's');
  // A line that is not one of these files is an error naming it.
  dir.write("genotype.dat", "s1 1000 0 A C 2 x 0\n");
  EXPECT_THROW(report::locus_ld(t, locus, dir.path().string()), report::ReportError);
}
