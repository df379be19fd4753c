// The dosage R² of a window's target on hand-made two-SNP windows (target, one tag)
// whose value is known.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/haplist.h"
#include "core/info.h"

namespace {

// Info of subjects given as (target, tag) genotype codes under haplotype
// frequencies f[code], code = 2 * target allele + tag allele.
double info_of(const std::vector<std::vector<int>>& genotypes, const std::vector<double>& f) {
  Mat<int> g = imatrix(0, static_cast<long>(genotypes.size()) - 1, 0, 1);
  for (std::size_t i = 0; i < genotypes.size(); i++)
    for (int j = 0; j < 2; j++) g[static_cast<long>(i)][j] = genotypes[i][static_cast<std::size_t>(j)];
  StudyList list;
  makelist(list, g, static_cast<int>(genotypes.size()), 2);
  return dosage_r2(list, f.data(), 2);
}

}  // namespace

TEST(DosageR2, KnownWindows) {
  const std::vector<double> ld = {0.5, 0.0, 0.0, 0.5};  // only 00 and 11: the tag tells the target
  const std::vector<double> free = {0.25, 0.25, 0.25, 0.25};  // target and tag independent
  // Everybody typed at the target: the counts are known, whatever the frequencies.
  EXPECT_DOUBLE_EQ(info_of({{0, 1}, {1, 1}, {2, 0}, {1, 9}}, free), 1.0);
  // Target missing in all, in perfect LD with its tag: the tag gives each count.
  EXPECT_DOUBLE_EQ(info_of({{9, 0}, {9, 1}, {9, 2}, {9, 1}}, ld), 1.0);
  // Target missing in all, independent of its tag: every subject gets the mean.
  EXPECT_NEAR(info_of({{9, 0}, {9, 1}, {9, 2}, {9, 1}}, free), 0.0, 1e-15);
  // Counts 2 and 0 typed, one untyped subject with d = 1 and E g^2 = 1.5:
  // var(d) = 2, var(g) = 4 + 1.5 + 0 - 3 = 2.5.
  EXPECT_DOUBLE_EQ(info_of({{2, 0}, {9, 1}, {0, 0}}, free), 0.8);
  // Nothing to say: one subject, or a target that does not vary.
  EXPECT_TRUE(std::isnan(info_of({{1, 1}}, free)));
  EXPECT_TRUE(std::isnan(info_of({{0, 1}, {0, 0}}, free)));
}
