// Dense linear algebra on 1-based matrices: LU decomposition by Crout's method
// with implicit scaling and partial pivoting, back-substitution, and in-place
// inversion. Used for every variance computation of the analyses.
#pragma once

#include "core/arrays.h"

// A zero pivot is replaced by this value so that a singular matrix still inverts
// (to huge entries, which the analyses' variance checks then reject).
inline constexpr double kLuTiny = 1.0e-40;

// Decomposes a[1..n][1..n] in place; indx[1..n] receives the row permutation.
// A row whose entries are all exactly zero ends the run ("Sigmatrix in ludcmp").
// Among pivot candidates of equal scaled weight the later row wins.
void ludcmp(Mat<double>& a, int n, Vec<int>& indx);

// Solves A x = b for the decomposition left by ludcmp; b[1..n] becomes x.
void lubksb(const Mat<double>& a, int n, const Vec<int>& indx, Vec<double>& b);

// Replaces a[1..n][1..n] by its inverse.
void invv(Mat<double>& a, int n);
