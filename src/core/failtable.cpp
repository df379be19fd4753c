#include "core/failtable.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace {

// A time already in the table, with the list position of the subject that opened
// its record (-1 for record 0).
struct Opened {
  double time;
  int head;
};

// True when t lies within the tie tolerance of some opened time. The opened times
// are kept ascending; since rounded differences grow with the distance, the
// nearest time on each side decides.
bool near_opened(const std::vector<Opened>& opened, std::size_t pos, double t) {
  if (pos < opened.size() && !(std::fabs(t - opened[pos].time) > kTieTolerance)) return true;
  if (pos > 0 && !(std::fabs(t - opened[pos - 1].time) > kTieTolerance)) return true;
  return false;
}

}  // namespace

void makeFlist(Window& w, const double* TIME, const int* EVENT) {
  const std::vector<SubjectNode>& subs = w.list.subjects;
  const int n = static_cast<int>(subs.size());

  // Pass 1: each failure more than the tolerance away from every time so far
  // opens a record, as head of its chain; the rest wait. Record 0's time 0.0
  // takes part in the comparison. Opened times are held in ascending order.
  std::vector<Opened> opened;
  opened.push_back({0.0, -1});
  std::vector<int> waiting;
  waiting.reserve(static_cast<std::size_t>(n));
  for (int s = 0; s < n; s++) {
    const int idx = subs[static_cast<std::size_t>(s)].idx;
    const double t = TIME[idx];
    if (EVENT[idx] == 1) {
      const auto it = std::lower_bound(opened.begin(), opened.end(), t,
                                       [](const Opened& o, double x) { return o.time < x; });
      const std::size_t pos = static_cast<std::size_t>(it - opened.begin());
      if (!std::isnan(t) && !near_opened(opened, pos, t)) {
        opened.insert(it, Opened{t, s});
        continue;
      }
    }
    waiting.push_back(s);
  }

  // Records 1..T in ascending time. Opened times are pairwise more than the
  // tolerance apart, so the ascending order is unique.
  const int T = static_cast<int>(opened.size()) - 1;
  w.T = T;
  w.Fp.clear();
  w.Fp.resize(static_cast<std::size_t>(T) + 2);
  FailRecord& r0 = w.Fp[0];
  r0.count = 1;
  r0.time = 0.0;
  r0.risksum = 1.0;
  std::vector<double> times;  // times[t - 1] = time of record t
  times.reserve(static_cast<std::size_t>(T));
  int t = 1;
  for (const Opened& o : opened) {
    if (o.head < 0) continue;
    FailRecord& r = w.Fp[static_cast<std::size_t>(t)];
    r.count = 1;
    r.time = o.time;
    r.subjects.push_back(o.head);
    times.push_back(o.time);
    t++;
  }
  w.Fp[static_cast<std::size_t>(T) + 1].time = kSentinelTime;

  // Pass 2: a waiting subject joins record t when t_t <= TIME < t_(t+1), the
  // sentinel closing the last interval; failures add to the record's count.
  // Everyone else (before the first failure, at or beyond the sentinel, or
  // without a usable time) joins record 0, uncounted. Chains keep list order.
  for (int s : waiting) {
    const int idx = subs[static_cast<std::size_t>(s)].idx;
    const double x = TIME[idx];
    int rec = 0;
    if (T > 0) {
      // Last record whose time is at or below x.
      const auto it = std::upper_bound(times.begin(), times.end(), x,
                                       [](double v, double tt) { return v < tt; });
      const int cand = static_cast<int>(it - times.begin());
      if (cand >= 1 && times[static_cast<std::size_t>(cand) - 1] <= x &&
          x < w.Fp[static_cast<std::size_t>(cand) + 1].time)
        rec = cand;
    }
    FailRecord& r = w.Fp[static_cast<std::size_t>(rec)];
    r.subjects.push_back(s);
    if (rec > 0 && EVENT[idx] == 1) r.count++;
  }
}

void freeFlist(Window& w) {
  w.Fp.clear();
  w.T = 0;
  w.list.clear();
}
