// Kestrova: association tests between SNPs and a disease or trait when genotypes
// are missing for some subjects or for all of them.
#include <cstdio>

#include "core/nrerror.h"
#include "driver/fatal.h"
#include "driver/pipeline.h"
#include "driver/runlog.h"

int main(int argc, char** argv) {
  RunSettings settings;
  OptionsGiven given{};
  print_banner(stdout);
  print_start_time(stdout);
  if (std::string e = parse_command_line(argc, argv, settings, given, stdout); !e.empty()) stop_with(e);
  print_defaults(settings, given, stdout);
  if (std::string e = check_input_files(settings, stdout); !e.empty()) stop_with(e);
  try {
    run_analysis(settings);
  } catch (const NumericalError& e) {
    report_nrerror(e.what());
  }
  print_complete_time(stdout);
  return 0;
}
