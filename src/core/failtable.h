// The failure-time table of a cohort window: the listed subjects grouped by
// distinct failure time (records 1..T ascending), the interval before the first
// failure (record 0) and a sentinel (record T+1).
#pragma once

#include "core/window.h"

inline constexpr double kTieTolerance = 1e-6;     // failure times this close are one time
inline constexpr double kSentinelTime = 1000000.0;

// Builds w.Fp (T + 2 records) and w.T from w.list; TIME and EVENT are indexed by
// subject idx. Chains hold positions in w.list.subjects: a record's opening
// failure first, then the subjects of its interval in list order. From here until
// freeFlist the subjects are reached through the table only; the list keeps
// their storage.
void makeFlist(Window& w, const double* TIME, const int* EVENT);

// Releases the table and the subjects it holds (the whole list, which must not
// be used afterwards).
void freeFlist(Window& w);
