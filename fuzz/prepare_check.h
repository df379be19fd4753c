// kestrova-prepare's readers return a message instead of printing; main prints it
// as "Error: <message>\n". So a message must be one non-empty line: anything else
// is a defect, and the target aborts so that the fuzzer keeps the input.
#pragma once

#include <cstdlib>
#include <string>

inline void check_message(const std::string& message) {
  if (message.empty() || message.find('\n') != std::string::npos) std::abort();
}

// The verdict of a call that returns "" or the message.
inline void check_verdict_message(const std::string& verdict) {
  if (!verdict.empty()) check_message(verdict);
}
