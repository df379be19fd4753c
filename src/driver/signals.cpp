#include "driver/signals.h"

#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace {

// The whole message for one signal, built before any signal can arrive: the handler
// may only call functions that are safe inside it (write, _exit).
struct StopText {
  int signal;
  char text[160];
};
StopText stop_texts[3];

void compose(StopText& s, int signal, const char* name) {
  s.signal = signal;
  std::strcpy(s.text, "Error: run stopped by signal ");
  std::strcat(s.text, name);
  std::strcat(s.text, ".\n\nKestrova was stopped due to error(s) listed above.\n\n");
}

void on_signal(int signal) {
  for (const StopText& s : stop_texts)
    if (s.signal == signal) {
      const char* p = s.text;
      std::size_t left = std::strlen(p);
      while (left > 0) {
        ssize_t done = ::write(STDOUT_FILENO, p, left);
        if (done <= 0) break;
        p += done;
        left -= static_cast<std::size_t>(done);
      }
    }
  ::_exit(1);
}

}  // namespace

void stop_on_signals() {
  compose(stop_texts[0], SIGINT, "SIGINT");
  compose(stop_texts[1], SIGTERM, "SIGTERM");
  compose(stop_texts[2], SIGHUP, "SIGHUP");
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigfillset(&action.sa_mask);  // no second signal runs the handler again meanwhile
  for (const StopText& s : stop_texts) sigaction(s.signal, &action, nullptr);
}
