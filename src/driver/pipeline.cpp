#include "driver/pipeline.h"

#include <cstdio>

#include "design/readin.h"
#include "driver/cost_warning.h"
#include "driver/fatal.h"
#include "driver/panel_input.h"
#include "driver/plan.h"
#include "driver/snploop.h"
#include "driver/snpmap.h"
#include "driver/specfile.h"
#include "driver/strand.h"
#include "driver/study_input.h"
#include "driver/warnings.h"

namespace {

void stop_on(const std::string& e) {
  if (!e.empty()) stop_with(e);
}

}  // namespace

void read_inputs(const RunSettings& settings, RunData& data) {
  Model& model = data.model;
  StudyData& study = data.study;
  PanelData& panel = data.panel;

  std::vector<std::string> warnings;
  // The external-panel flag is 1 while the model is read; '-ne' lowers it per SNP later.
  std::string e = read_header(model, settings.pfile, settings.sfile, 1, warnings);
  for (const std::string& w : warnings) std::fputs(w.c_str(), stdout);
  stop_on(e);

  stop_on(read_phenotypes(settings.pfile, model, study));
  std::printf("%d individuals read from '%s', %d used in analysis\n", study.n_total, settings.pfile.c_str(), study.n);
  if (study.n == 0)
    stop_with(format("Error: No individual of '%s' can be used in the analysis.\n", settings.pfile.c_str()));
  order_dependent_first(model, study);
  if (model.design == kCrossSectional) classify_trait(study);

  // A shard first reads and checks every line holding no genotypes, then, once the
  // map tells which SNPs its windows can use, reads the genotypes of those alone.
  const bool shard = settings.from != kNoLowerBound || settings.to != kNoUpperBound;
  const std::vector<char> none;
  stop_on(read_genotypes(settings.gfile, model.mode, study, shard ? &none : nullptr));
  std::printf("%d SNPs and %d individuals read from '%s'\n", study.nsnp, study.n_total, settings.gfile.c_str());

  if (settings.ne) {
    map_study_only(study, data.map);
  } else {
    stop_on(read_panel(settings.efile, model, panel));
    std::printf("%d SNPs, %d trios, %d duos and %d singletons read from '%s'\n", panel.nsnp, model.nTR, model.nDU,
                model.nUN, settings.efile.c_str());
    // Phased haplotypes are always read, and panel SNPs without them are never
    // used (-h and -speed are always in force).
    stop_on(read_haplotypes(settings.hfile, panel));
    std::printf("%d SNPs, %d trios, %d duos, and %d singletons read from '%s'\n", panel.nhap_snp, model.nTR,
                model.nDU, model.nUN, settings.hfile.c_str());
    merge_by_position(study, panel, data.map);
    link_haplotypes(panel, data.map);
    drop_unphased(data.map);
    align_strands(data.map, study, panel, settings.no_fix, settings.no_remove);
  }
  drop_monomorphic(data.map, study, panel, model.mode, settings.ne);
  if (shard) {
    const std::vector<char> keep = shard_study_snps(data, settings, plan_snps(data, settings));
    stop_on(read_genotypes(settings.gfile, model.mode, study, &keep));
  }
  std::fflush(stdout);
}

void run_analysis(const RunSettings& settings) {
  RunData data;
  read_inputs(settings, data);
  const RunData& run = data;  // read-only from here to the end of the run
  for (const std::string& w : run_warnings(run.model, run.study, settings.ofile)) std::fputs(w.c_str(), stdout);
  if (std::string w = dependence_cost_warning(run.model, run.study); !w.empty()) std::fputs(w.c_str(), stdout);
  std::fflush(stdout);
  stop_on(run_snps(run, settings));
}
