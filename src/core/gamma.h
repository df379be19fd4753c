// Log-gamma and the regularised incomplete gamma functions; gammq(0.5, z*z/2) is
// the two-sided normal p-value of z. Invalid arguments end the run via nrerror.
#pragma once

// Most terms of the series or the continued fraction before giving up.
inline constexpr int kGammaMaxIterations = 1000;

double gammln(double xx);                 // ln Gamma(xx), xx > 0
double gammq(double a, double x);         // Q(a, x) = 1 - P(a, x)
void gser(double* gamser, double a, double x, double* gln);  // P(a, x) by its series
void gcf(double* gammcf, double a, double x, double* gln);   // Q(a, x) by continued fraction
