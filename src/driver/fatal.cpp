#include "driver/fatal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

void kill_Kestrova() {
  std::printf("\nKestrova was stopped due to error(s) listed above.\n\n");
  std::fflush(stdout);
  std::exit(1);
}

void stop_with(const std::string& error_line) {
  std::fputs(error_line.c_str(), stdout);
  kill_Kestrova();
}

std::string format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  va_list copy;
  va_copy(copy, args);
  int size = std::vsnprintf(nullptr, 0, fmt, copy);
  va_end(copy);
  std::string out(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
  if (size > 0) std::vsnprintf(out.data(), out.size() + 1, fmt, args);
  va_end(args);
  return out;
}
