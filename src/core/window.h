// The working state of one analysis window: its size, the haplotype-pair lists,
// the retained haplotypes, the covariate design and the counts the analyses read.
// A window's analysis touches only its own Window, so windows are independent.
#pragma once

#include <string>
#include <vector>

#include "core/arrays.h"
#include "core/failreason.h"
#include "core/haplist.h"
#include "model/model.h"

// One distinct failure time of a cohort window and the subjects of its interval.
struct FailRecord {
  int count = 0;         // failures at this time (1 in record 0)
  double time = 0.0;     // the failure time (0 in record 0; 1e6 in the sentinel)
  double cumhaz = 0.0;   // cumulative baseline hazard at this time
  double risksum = 0.0;  // expected relative risk summed over the risk set
  std::vector<int> subjects;  // positions in list.subjects, in chain order
};

struct Window {
  // Size: M SNPs (the target first), K = 2^M haplotype codes, pow2[k] = 2^k.
  int M = 5, K = 32;
  std::vector<int> pow2;
  void set_size(int m) {
    M = m;
    K = 1 << m;
    pow2.assign(static_cast<std::size_t>(m) + 1, 1);
    for (int k = 1; k <= m; k++) pow2[static_cast<std::size_t>(k)] = 2 * pow2[static_cast<std::size_t>(k) - 1];
  }

  // Model settings copied in for the inner loops.
  int design = kCaseControl, mode = kAdditive, pH = 0;
  int ext = 0;                // 1: the external panel takes part

  StudyList list;
  PanelList list_ex;
  int nTR_new = 0, nDU_new = 0, nUN_new = 0;  // panel families left after pruning

  int KK = 0;                 // retained haplotypes
  std::vector<int> hap_freq;  // their codes, most frequent first
  std::vector<int> hap_GOR;   // codes of the dependence-part haplotypes
  int q = 0, qq = 0;          // regression coefficients, dependence parameters

  // Covariate design.
  int anal = 2, J = 0, pX = 0, pD = 0;
  Mat<double> X;              // J x pX
  Mat<int> X_X, X_H, H_H;     // pX x pX, pX x pH, pH x pH
  std::vector<std::string> design_names;
  int n1 = 0, n0 = 0, n_new = 0;

  // Failure-time table of a cohort window: records 0..T+1.
  std::vector<FailRecord> Fp;
  int T = 0;

  // Why the last analysis of this window failed; reset before each analysis.
  FailReason fail;
};

// Records why the window's analysis failed; returns 0, the failure verdict.
inline int fail(Window& w, const char* stage, Check check) {
  w.fail = FailReason{stage, check};
  return 0;
}
