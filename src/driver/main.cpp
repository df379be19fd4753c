// Kestrova: association tests between SNPs and a disease or trait when genotypes
// are missing for some subjects or for all of them.
#include <cstdio>
#include <exception>
#include <new>

#include "driver/fatal.h"
#include "driver/pipeline.h"
#include "driver/runlog.h"
#include "driver/signals.h"

namespace {

// Reached when an exception cannot even be raised: the memory for it was refused.
[[noreturn]] void on_terminate() {
  std::fputs("Error: not enough memory to continue the run (the system refused an allocation).\n", stdout);
  kill_Kestrova();
}

}  // namespace

int main(int argc, char** argv) {
  // The run log goes out line by line, so that a run stopped by a signal keeps it.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
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
  } catch (const std::bad_alloc&) {
    // The readers and the analyses report what they could not hold; this is the last resort.
    stop_with("Error: not enough memory to continue the run (the system refused an allocation).\n");
  } catch (const std::exception& e) {
    stop_with(format("Error: the run failed unexpectedly (%s).\n", e.what()));
  }
  return 0;
}
