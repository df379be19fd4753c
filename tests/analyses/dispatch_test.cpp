// The window preparation: haplotypes kept at 0.002 and above, ordered by
// frequency, and the count G of dependence haplotypes at or above 20/n, which
// takes in every retained haplotype once n exceeds 10000; and the windows the
// dispatcher cannot analyse, each leaving its check.
#include <gtest/gtest.h>

#include "analyses/dispatch.h"
#include "sim.h"

namespace {

using sim::at;

// A case-control G-only model over one SNP.
Model g_only() {
  Model model;
  model.pH = 1;
  model.names = {"G"};
  model.effect[0][0] = 2;
  return model;
}

// Prepares a window of M SNPs from study genotypes geno (and panel genotypes
// geno_ex when given); returns the verdict and leaves the reason in w.
int prepare(Window& w, int M, const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model,
            const StudyData& study, WindowPrep& prep) {
  w = Window();
  w.set_size(M);
  w.pH = 1;
  w.ext = geno_ex.rows() > 0 ? 1 : 0;
  return prepare_window(w, geno, geno_ex, model, study, prep);
}

int prepare(Window& w, int M, const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model,
            const StudyData& study) {
  WindowPrep prep;
  return prepare(w, M, geno, geno_ex, model, study, prep);
}

// n subjects, every other one a case.
StudyData case_control_study(int n) {
  StudyData study;
  study.n = study.n_total = n;
  study.STATUS.assign(at(n), 0);
  for (int i = 0; i < n; i += 2) study.STATUS[at(i)] = 1;
  return study;
}

// n case-control subjects homozygous at two SNPs: `rare` of them carry haplotype
// 11 twice, the rest 00; the EM then returns the observed proportions.
int dependence_count(int n, int rare, int& KK) {
  Mat<int> geno = imatrix(0, n - 1, 0, 1);
  for (int i = 0; i < n; i++) geno[i][0] = geno[i][1] = i < rare ? 2 : 0;
  Window w;
  WindowPrep prep;
  EXPECT_EQ(prepare(w, 2, geno, Mat<int>(), g_only(), case_control_study(n), prep), 1);
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

TEST(WindowPreparation, WindowsTheDispatcherCannotAnalyseNameTheirCheck) {
  const Model model = g_only();
  Mat<int> none;
  {
    // Nine SNPs missing in everybody: EM keeps 1/512 for every haplotype, below 0.002.
    StudyData study = case_control_study(4);
    Mat<int> geno = imatrix(0, 3, 0, 8);
    geno.fill(9);
    Window w;
    EXPECT_EQ(prepare(w, 9, geno, none, model, study), 0);
    sim::expect_reason(w, "A51_A61_A71", Check::kNothingRetained);
  }
  {
    // Only cases: no control is left in the window.
    StudyData study = case_control_study(40);
    study.STATUS.assign(40, 1);
    Mat<int> geno = imatrix(0, 39, 0, 1);
    for (int i = 0; i < 40; i++) geno[i][0] = geno[i][1] = i % 3 == 0 ? 2 : 1;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, none, model, study), 0);
    sim::expect_reason(w, "A51_A61_A71", Check::kNoCaseOrControl);
  }
  {
    // One study subject carrying haplotype 11 twice against a panel of 1000
    // singletons carrying 00: 11 falls below 0.002 and the subject is pruned.
    StudyData study = case_control_study(1);
    Mat<int> geno = imatrix(0, 0, 0, 1), panel = imatrix(0, 999, 0, 1);
    geno[0][0] = geno[0][1] = 2;
    panel.fill(0);
    Model with_panel = model;
    with_panel.nUN = 1000;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, panel, with_panel, study), 0);
    sim::expect_reason(w, "A51_A61_A71", Check::kNobodyLeft);
  }
  {
    // No study subject and no panel: EM divides by nobody.
    StudyData study = case_control_study(0);
    Mat<int> geno;
    Window w;
    EXPECT_EQ(prepare(w, 2, geno, none, model, study), 0);
    sim::expect_reason(w, "A51_A61_A71", Check::kFrequencyNan);
  }
}
