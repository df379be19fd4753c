// The covariate design of one window: distinct covariate patterns of the listed
// subjects, categorical levels and column names, the interaction flags, the
// analysis class and the outcome counts. For the cross-sectional design it also
// decides whether the trait is binary and then recodes it to 0/1 for the run.
#pragma once

#include "core/window.h"
#include "model/model.h"
#include "model/study.h"

inline constexpr double kPatternTolerance = 1e-06;  // covariate values this close are one value

// The distinct trait values over every study subject in subject order (values
// closer than kPatternTolerance are one), the scan stopping at the third: fills
// seen and returns their count, 0 to 3. Exactly two make the trait binary.
int trait_values(const StudyData& study, double seen[3]);

// cov holds the covariate rows of the subjects the list's idx refers to (row
// stride model.p). Fills w.anal, w.J, w.X, w.pX, w.pD, w.X_X, w.X_H, w.H_H,
// w.design_names, the outcome counts and every subject's stratum.
void readinXV(Window& w, const Model& model, StudyData& study, const double* cov);
