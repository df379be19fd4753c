// The model read from the specification file: study design, mode of inheritance,
// panel composition, the covariates with their kinds, and the effect matrix over
// the covariates and the appended genetic terms.
#pragma once

#include <array>
#include <string>
#include <vector>

inline constexpr int kMaxCovariates = 40;   // covariate columns of the phenotype file
inline constexpr int kMaxEffectNames = 41;  // covariates plus appended effect names
inline constexpr int kMaxWordLength = 29;   // longest name or keyword word

enum Design { kCaseControl = 1, kCohort = 2, kCrossSectional = 3 };
enum Mode { kAdditive = 1, kRecessive = 2, kDominant = 3, kCodominant = 4 };

struct Model {
  int design = kCaseControl;
  int mode = kAdditive;
  int nTR = 0, nDU = 0, nUN = 0;  // panel trios, duos, singletons
  int p = 0;                      // number of covariates
  int pH = 0;                     // effect names appended after the covariates (the genetic terms)
  std::vector<std::string> names; // p covariate names, then the pH appended names
  std::vector<char> dep;          // per covariate: 'D' listed under DEPENDENT, else 'I'
  std::vector<int> categorical;   // per covariate: 1 listed under CATEGORICAL
  // effect[i][j] over the p + pH names: diagonal 1 = main effect in EFFECT, 2 = also in
  // OUTPUT; off-diagonal the same for the interaction of i and j. Symmetric.
  std::array<std::array<int, kMaxEffectNames>, kMaxEffectNames> effect{};
};
