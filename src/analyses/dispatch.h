// The analysis of one window: haplotype frequencies by EM (study, and the panel
// for an untyped target), the retained haplotypes in frequency order, pruning of
// the lists, the covariate design, the coefficient count, and the analysis that
// the design and the analysis class select.
#pragma once

#include <cmath>
#include <vector>

#include "core/arrays.h"
#include "core/window.h"
#include "model/model.h"
#include "model/study.h"

inline constexpr double kRetainFrequency = 0.002;  // haplotypes below this are dropped
inline constexpr double kDependenceCount = 20.0;   // haplotypes above this count / n may carry dependence

// Whom a window's analysis rests on: the subjects of its study list once the rare
// pairs are dropped (cases and controls in a case-control study, else -1), and the
// dosage R² of the target under the window's frequencies; -1 and NaN where the
// window stopped before its list was made.
struct WindowSample {
  int n = -1, cases = -1, controls = -1;
  double info = std::nan("");
};

// What the preparation of a window hands to its analysis.
struct WindowPrep {
  std::vector<double> freq;  // estimated frequency by haplotype code
  std::vector<int> rankmap;  // haplotype code -> retained position (0 = most frequent), -1 if dropped
  int G = -1;                // haplotypes at or above 20/n, less one
  WindowSample sample;
};

// Lists, frequency estimation, retained haplotypes, pruning, the design and q:
// everything before the analysis. Returns 0 when the window cannot be analysed
// (no retained haplotype, a frequency that is not a number, nobody left in the
// study list, or a case-control window without cases or without controls).
int prepare_window(Window& w, const Mat<int>& geno, const Mat<int>& geno_ex, const Model& model, const StudyData& study,
                   WindowPrep& prep);

// Analyses the window w (size, model copies and ext set by the
// caller) from the study genotypes geno (n rows by M) and, when w.ext is 1, the
// panel genotypes geno_ex (panel columns by M). Returns the analysis's verdict (1
// success, 0 failure); a window that cannot be analysed at all fails too. est and
// se are enlarged to hold every entry the analysis writes; sample receives the
// window's subjects and information, whatever the verdict.
int A51_A61_A71(std::vector<double>& est, std::vector<double>& se, double* loglik, int* iter, Window& w, const Mat<int>& geno,
                const Mat<int>& geno_ex, const Model& model, const StudyData& study, WindowSample& sample);
