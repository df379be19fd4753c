#include "core/nrerror.h"

#include <cstdio>
#include <cstdlib>

void nrerror(const char* error_text) { throw NumericalError(error_text); }

void report_nrerror(const char* error_text) {
  std::fflush(stdout);
  std::fprintf(stderr, "Numerical Recipes run-time error...\n");
  std::fprintf(stderr, "%s\n", error_text);
  std::fprintf(stderr, "...now exiting to system...\n");
  std::exit(1);
}
