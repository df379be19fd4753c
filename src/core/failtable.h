// The failure-time table of a cohort window: the listed subjects grouped by
// distinct failure time (records 1..T ascending), the interval before the first
// failure (record 0) and a sentinel (record T+1).
#pragma once

#include "core/window.h"

inline constexpr double kTieTolerance = 1e-6;     // failure times this close are one time
inline constexpr double kSentinelTime = 1000000.0;

// Builds w.Fp and w.T from w.list; TIME and EVENT are indexed by subject idx.
void makeFlist(Window& w, const double* TIME, const int* EVENT);

// Releases the table and the subjects it holds.
void freeFlist(Window& w);
