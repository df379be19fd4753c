// Design columns of the model covariates, shared by the window design and the
// naming of the result files: which covariates are in the model, the levels of
// the categorical ones over a table of distinct covariate patterns, the column
// names, and the interaction flags over the columns and the genetic terms.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "core/arrays.h"
#include "model/model.h"

inline constexpr double kLevelTolerance = 1e-06;  // categorical levels closer than this are one level

// Distinct covariate patterns over the model covariates: J rows of m values,
// indexed by their first value so that a subject's pattern is found without
// comparing it with every pattern (a continuous covariate gives about one
// pattern per subject).
struct PatternTable {
  int m = 0;
  int J = 0;
  std::vector<double> values;           // row-major J x m
  std::multimap<double, int> by_first;  // first value -> pattern (rows whose first value is a number)
  const double* row(int j) const { return values.data() + static_cast<std::size_t>(j) * m; }
  // Appends a pattern; returns its index.
  int add(const double* v);
};

struct DesignColumns {
  std::vector<int> covariate;               // model covariates (phenotype columns), in column order
  std::vector<std::vector<double>> levels;  // per model covariate: ascending levels; empty if not categorical
  std::vector<int> first;                   // per model covariate: its first design column
  std::vector<int> count;                   // per model covariate: its number of design columns
  int pX = 0;
  int pD = 0;                               // columns of covariates listed as DEPENDENT
  std::vector<std::string> names;           // the pX column names
};

// The covariates whose diagonal effect entry is above 0, in phenotype order.
std::vector<int> model_covariates(const Model& model);

// Index of the first pattern (lowest index) whose m values all lie strictly
// within tol of values[0..m-1], or -1.
int find_pattern(const PatternTable& table, const double* values, double tol);

// Levels, column counts and names of the model covariates over the patterns.
// A categorical covariate gives one column per level above its lowest (named
// "name(level)" with the level truncated toward zero); any other covariate one.
DesignColumns design_columns(const Model& model, const std::vector<int>& covariates, const PatternTable& patterns);

// H_H (pH x pH), X_X (pX x pX, main effects on the diagonal, covariate products
// above it; none between columns of one covariate) and X_H (pX x pH), all base 0.
void interaction_flags(const Model& model, const DesignColumns& cols, Mat<int>& X_X, Mat<int>& X_H, Mat<int>& H_H);
