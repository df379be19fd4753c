// Case-control analyses with covariates are not yet available in this release: their windows are reported
// as not analysed (a line of dashes).
#include "analyses/analyses.h"

int A5_CC(Window&, const StudyData&, double*, double*, double*, int*, const int*, const double*, int) { return 0; }
int A2_ind_HWE(Window&, const StudyData&, double*, double*, double*, int*, const int*, const double*) { return 0; }
