// Kestrova: association tests between SNPs and a disease or trait when genotypes
// are missing for some subjects or for all of them.
#include <cstdio>
#include <exception>
#include <new>

#include "core/nrerror.h"
#include "driver/fatal.h"
#include "driver/pipeline.h"
#include "driver/runlog.h"
#include "driver/signals.h"

namespace {

const char* const kNoMemory = "Error: not enough memory to continue the run (the system refused an allocation).\n";

// The last resort. Without an exception in flight it is reached when an exception
// could not even be raised because the memory for it was refused.
[[noreturn]] void on_terminate() {
  if (std::exception_ptr in_flight = std::current_exception()) {
    try {
      std::rethrow_exception(in_flight);
    } catch (const std::bad_alloc&) {
      std::fputs(kNoMemory, stdout);
    } catch (const std::exception& e) {
      std::fputs(format("Error: the run failed unexpectedly (%s).\n", e.what()).c_str(), stdout);
    } catch (...) {
      std::fputs("Error: the run failed unexpectedly.\n", stdout);
    }
  } else {
    std::fputs(kNoMemory, stdout);
  }
  kill_Kestrova();
}

}  // namespace

int main(int argc, char** argv) {
  // The run log goes out line by line, so that a run stopped by a signal keeps it.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  if (print_help_or_version(argc, argv, stdout)) return 0;
  stop_on_signals();
  std::set_terminate(on_terminate);
  try {
    RunSettings settings;
    OptionsGiven given{};
    print_banner(stdout);
    print_start_time(stdout);
    if (std::string e = parse_command_line(argc, argv, settings, given, stdout); !e.empty()) stop_with(e);
    print_defaults(settings, given, stdout);
    if (std::string e = check_input_files(settings, stdout); !e.empty()) stop_with(e);
    run_analysis(settings);
    print_complete_time(stdout);
  } catch (const NumericalError& e) {
    report_nrerror(e.what());
  } catch (...) {
    // The readers and the analyses report what they could not hold; this is the last resort.
    on_terminate();
  }
  return 0;
}
