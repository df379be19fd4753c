// The window preparation: haplotypes kept at 0.002 and above, ordered by
// frequency, and the count G of dependence haplotypes at or above 20/n, which
// takes in every retained haplotype once n exceeds 10000.
#include <gtest/gtest.h>

#include "analyses/dispatch.h"

namespace {

// n case-control subjects homozygous at two SNPs: `rare` of them carry haplotype
// 11 twice, the rest 00; the EM then returns the observed proportions.
int dependence_count(int n, int rare, int& KK) {
  Model model;
  model.pH = 1;
  model.names = {"G"};
  model.effect[0][0] = 2;
  StudyData study;
  study.n = study.n_total = n;
  study.STATUS.assign(static_cast<std::size_t>(n), 0);
  for (int i = 0; i < n; i += 2) study.STATUS[static_cast<std::size_t>(i)] = 1;
  Mat<int> geno = imatrix(0, n - 1, 0, 1), none;
  for (int i = 0; i < n; i++) geno[i][0] = geno[i][1] = i < rare ? 2 : 0;
  Window w;
  w.set_size(2);
  w.pH = 1;
  WindowPrep prep;
  EXPECT_EQ(prepare_window(w, geno, none, model, study, prep), 1);
  KK = w.KK;
  EXPECT_EQ(w.hap_freq[0], 0b00);  // the most frequent haplotype is the reference
  return prep.G;
}

}  // namespace

TEST(WindowPreparation, DependenceHaplotypesReachTwentyOverN) {
  int KK = 0;
  // 13 / 5000 = 0.0026: retained, but below 20 / 5000 = 0.004.
  EXPECT_EQ(dependence_count(5000, 13, KK), 0);
  EXPECT_EQ(KK, 2);
  // 25 / 10001 is above both 0.002 and 20 / 10001: every retained haplotype counts.
  EXPECT_EQ(dependence_count(10001, 25, KK), 1);
  EXPECT_EQ(KK, 2);
  // 9 / 5000 = 0.0018 is not retained at all; nothing reaches 20/n but the reference.
  EXPECT_EQ(dependence_count(5000, 9, KK), 0);
  EXPECT_EQ(KK, 1);
}
