#include "driver/progress.h"

#include <unistd.h>

#include <cmath>

namespace {

constexpr double kRefreshSeconds = 0.25;  // the line is rewritten at most this often

// "1h02m", "4m05s" or "12s".
void format_duration(double seconds, char* buf, int size) {
  const long t = std::lround(seconds);
  if (t >= 3600)
    std::snprintf(buf, static_cast<std::size_t>(size), "%ldh%02ldm", t / 3600, t / 60 % 60);
  else if (t >= 60)
    std::snprintf(buf, static_cast<std::size_t>(size), "%ldm%02lds", t / 60, t % 60);
  else
    std::snprintf(buf, static_cast<std::size_t>(size), "%lds", t);
}

}  // namespace

Progress::Progress(int total, std::FILE* out) : on_(isatty(fileno(out)) == 1), total_(total), out_(out) {
  start_ = last_ = std::chrono::steady_clock::now();
}

void Progress::update(int done) {
  if (!on_) return;
  const auto now = std::chrono::steady_clock::now();
  if (done < total_ && std::chrono::duration<double>(now - last_).count() < kRefreshSeconds) return;
  last_ = now;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const double rate = elapsed > 0.0 ? done / elapsed : 0.0;
  char left[32] = "?";
  if (rate > 0.0) format_duration((total_ - done) / rate, left, sizeof left);
  std::fprintf(out_, "\r%d of %d SNPs, %.1f SNPs/s, %s left   ", done, total_, rate, left);
  std::fflush(out_);
  shown_ = true;
}

void Progress::finish() {
  if (shown_) std::fputc('\n', out_);
  shown_ = false;
}
