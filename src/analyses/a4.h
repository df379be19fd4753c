// The case-control analysis without covariates, opened up for checking: the fit
// with its parameter vector and inverse information, and the objective it minimises.
#pragma once

#include <vector>

#include "analyses/newton.h"
#include "core/arrays.h"
#include "core/window.h"
#include "model/study.h"

// theta holds the coefficients, then the KK-1 log frequency ratios.
using A4Fit = NewtonFit;

// The damped Newton fit; 1 on success, 0 on failure (fit then partly filled).
int A4_fit(Window& w, const StudyData& study, const int* hapmap, const double* freq, A4Fit& fit);

// The negative log-likelihood at theta, with the panel's term when w.ext is 1.
double A4_objective(Window& w, const StudyData& study, const int* hapmap, const double* theta);
