// The haplotype likelihood analyses of one window, one per study design and
// analysis class. Each fits the window's model with unobserved haplotype pairs,
// writes estimates and standard errors (regression coefficients, then the
// haplotype frequencies with the reference first, then further parameters) and
// returns 1 when a usable covariance was obtained, 0 otherwise (outputs untouched).
//
// Common arguments: the window (lists pruned, design built, q counted), the study
// data, the estimate and standard-error vectors, the log-likelihood and
// iteration-count outputs, hapmap (haplotype code -> retained position, 0 = the
// most frequent) and the estimated frequencies by haplotype code.
#pragma once

#include "core/window.h"
#include "model/study.h"

// Case-control, no covariates: damped Newton iteration on the exact observed information.
int A4(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
       const double* freq);

// Case-control with DEPENDENT covariates; G dependence haplotypes at most.
int A5_CC(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
          const double* freq, int G);

// Case-control with covariates independent of the genotype.
int A2_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq);

// Cohort with DEPENDENT covariates; without dependence.
int A6_CO(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter, const int* hapmap,
          const double* freq, int ndep);
int A6_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq);

// Cross-sectional with DEPENDENT covariates; without dependence.
int A7_CS_pl(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
             const int* hapmap, const double* freq, int ndep);
int A7_ind_HWE(Window& w, const StudyData& study, double* est, double* se, double* loglik, int* iter,
               const int* hapmap, const double* freq);
