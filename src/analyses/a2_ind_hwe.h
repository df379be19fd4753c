// The case-control analysis under gene-environment independence and
// Hardy-Weinberg equilibrium, opened up for checking: the fit with its parameter
// vector and inverse information, the objective it minimises, and its gradient
// and observed information at any parameter value.
//
// Model. With the covariate distribution left unspecified and the haplotype pair
// independent of the covariates, subject i (status y_i, covariate pattern j_i)
// contributes the profile likelihood
//   L_i = sum over its compatible pairs (a,b) of c(a,b) E_{y_i}(j_i,a,b)
//         / sum over y in {0,1} and all retained a <= b of c(a,b) E_y(j_i,a,b),
//   E_y(j,a,b) = exp(alpha_a + alpha_b + y beta'Z(j,a,b)),
// c(a,b) = 2 for a != b, else 1; Z is Zvec's vector, whose last entry is the
// intercept (it absorbs the sampling ratio of cases to controls).
//
// Parameter vector theta, 0-based, w.q + KK entries:
//   0 .. q-1       the coefficients of Zvec's entries before the intercept
//   q .. q+KK-2    alpha_1 .. alpha_{KK-1}, log frequency ratios to the reference
//   q+KK-1         the intercept (never reported)
// Information matrices over the same parameters are 1-based.
#pragma once

#include <vector>

#include "core/arrays.h"
#include "analyses/newton.h"
#include "core/window.h"
#include "model/study.h"

// theta holds the coefficients, the log frequency ratios, then the intercept.
using A2Fit = NewtonFit;

// The damped Newton fit (the iteration, constants and failure rules of A4);
// 1 on success, 0 on failure (fit then partly filled).
int A2_fit(Window& w, const StudyData& study, const int* hapmap, const double* freq, A2Fit& fit);

// The negative log-likelihood sum_i -log L_i at theta, with the panel's term when
// w.ext is 1.
double A2_objective(Window& w, const StudyData& study, const int* hapmap, const double* theta);

// The same objective, its gradient g[0..q+KK-1] and its observed information
// H[1..q+KK][1..q+KK] (complete-data minus missing, the panel's by Louis' method).
double A2_derivatives(Window& w, const StudyData& study, const int* hapmap, const double* theta, double* g,
                      Mat<double>& H);
