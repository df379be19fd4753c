// Fatal numerical errors. nrerror hands its text up as a NumericalError, so that
// the routine that runs the analyses decides when the run ends; report_nrerror
// ends it: three lines on standard error, then exit status 1.
#pragma once

#include <stdexcept>

struct NumericalError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws NumericalError carrying error_text.
[[noreturn]] void nrerror(const char* error_text);

// Flushes standard output, prints the three lines of a numerical fatal error on
// standard error and ends the process with exit status 1.
[[noreturn]] void report_nrerror(const char* error_text);
