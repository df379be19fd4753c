// kestrova-bench: runs Kestrova's input stage and per-SNP analyses like the
// program does, and reports load throughput, SNPs per second on each analysis
// path (complete data, typed with missing genotypes, untyped) by one thread and
// by all cores with the speed-up, and peak memory.
//
//   kestrova-bench [--load-only] [kestrova options ...]
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "core/nrerror.h"
#include "driver/cost_warning.h"
#include "driver/fatal.h"
#include "driver/pipeline.h"
#include "driver/runlog.h"
#include "driver/snploop.h"

namespace {

double megabytes(const std::string& file) {
  std::error_code ec;
  auto size = std::filesystem::file_size(file, ec);
  return ec ? 0.0 : static_cast<double>(size) / 1e6;
}

double peak_mib() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

}  // namespace

int main(int argc, char** argv) {
  bool load_only = argc > 1 && std::strcmp(argv[1], "--load-only") == 0;
  std::vector<const char*> args;
  args.push_back(argv[0]);
  for (int a = load_only ? 2 : 1; a < argc; a++) args.push_back(argv[a]);

  RunSettings settings;
  OptionsGiven given{};
  std::FILE* quiet = std::fopen("/dev/null", "w");
  if (std::string e = parse_command_line(static_cast<int>(args.size()), args.data(), settings, given, quiet);
      !e.empty())
    stop_with(e);
  if (std::string e = check_input_files(settings, quiet); !e.empty()) stop_with(e);

  const auto t0 = std::chrono::steady_clock::now();
  RunData data;
  read_inputs(settings, data);
  const double load = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  double mb = megabytes(settings.pfile) + megabytes(settings.gfile);
  if (!settings.ne) mb += megabytes(settings.efile) + megabytes(settings.hfile);
  std::printf("load: %.1f MB in %.2f s = %.0f MB/s\n", mb, load, mb / load);

  if (!load_only) {
    // Each path alone, by one thread and by all cores (or by -threads N).
    RunSettings one = settings, all = settings;
    one.threads = 1;
    all.threads = worker_count(settings);
    const char* names[3] = {"complete-data", "typed with missing", "untyped"};
    double wall1 = 0.0, wall_n = 0.0, window_seconds = 0.0;
    int windows = 0;
    try {
      for (int p = 0; p < 3; p++) {
        PathStats s1, sn;
        s1.only_path = sn.only_path = p;
        if (std::string e = run_snps(data, one, &s1); !e.empty()) stop_with(e);
        if (s1.count[p] == 0) continue;
        const double rate1 = s1.count[p] / s1.wall;
        wall1 += s1.wall;
        if (p > 0) {
          windows += s1.count[p];
          window_seconds += s1.wall;
        }
        std::printf("%-20s %6d SNPs: 1 thread %9.1f SNPs/s", names[p], s1.count[p], rate1);
        if (all.threads > 1) {
          if (std::string e = run_snps(data, all, &sn); !e.empty()) stop_with(e);
          wall_n += sn.wall;
          const double rate_n = sn.count[p] / sn.wall;
          std::printf(", %d threads %9.1f SNPs/s, speed-up %.2fx", sn.threads, rate_n, rate_n / rate1);
        }
        std::printf("\n");
      }
    } catch (const NumericalError& e) {
      report_nrerror(e.what());
    }
    if (all.threads > 1)
      std::printf("all paths: %.2f s by 1 thread, %.2f s by %d threads, speed-up %.2fx\n", wall1, wall_n,
                  all.threads, wall1 / wall_n);
    // A dependence model: the seconds per haplotype window (one thread) over the
    // cube of the estimated parameters, the constant of the run's cost warning.
    const DependenceCost cost = dependence_cost(data.model, data.study);
    if (cost.P > 0 && windows > 0) {
      const double per_window = window_seconds / windows;
      std::printf("dependence: J %d, P %d, %.2f s per window (warning's estimate %.2f s), P^3 constant %.2e\n",
                  cost.J, cost.P, per_window, cost.seconds,
                  per_window / (static_cast<double>(cost.P) * cost.P * cost.P));
    }
  }
  std::printf("peak memory: %.0f MiB\n", peak_mib());
  return 0;
}
