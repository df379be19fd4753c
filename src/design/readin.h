// The covariate design of one window: distinct covariate patterns of the listed
// subjects, categorical levels and column names, the interaction flags, the
// analysis class and the outcome counts; and, once per run, whether a
// cross-sectional trait is binary.
#pragma once

#include "core/window.h"
#include "model/model.h"
#include "model/study.h"

inline constexpr double kPatternTolerance = 1e-06;  // covariate values this close are one value

// The distinct values of the trait as read (TRAIT_raw once classified, else
// TRAIT) over every study subject in subject order (values closer than
// kPatternTolerance are one), the scan stopping at the third: fills seen and
// returns their count, 0 to 3. Exactly two make the trait binary.
int trait_values(const StudyData& study, double seen[3]);

// cov holds the covariate rows of the subjects the list's idx refers to (row
// stride model.p). Fills w.anal, w.J, w.X, w.pX, w.pD, w.X_X, w.X_H, w.H_H,
// w.design_names, the outcome counts and every subject's stratum.
void readinXV(Window& w, const Model& model, const StudyData& study, const double* cov);

// Whether the cross-sectional trait takes exactly two values over every study
// subject (study.cs_bin). Keeps the values as read in TRAIT_raw and recodes a
// binary TRAIT to 0/1, its larger value to 1. Every window's design sees the
// recoded trait; only a complete-data fit that runs before any design was built
// sees the raw values.
void classify_trait(StudyData& study);
