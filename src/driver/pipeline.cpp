#include "driver/pipeline.h"

#include <cstdio>

#include "driver/fatal.h"
#include "driver/model.h"
#include "driver/specfile.h"

void run_analysis(const RunSettings& settings) {
  Model model;
  std::vector<std::string> warnings;
  // The external-panel flag is 1 while the model is read; '-ne' lowers it per SNP later.
  std::string e = read_header(model, settings.pfile, settings.sfile, 1, warnings);
  for (const std::string& w : warnings) std::fputs(w.c_str(), stdout);
  if (!e.empty()) stop_with(e);
}
