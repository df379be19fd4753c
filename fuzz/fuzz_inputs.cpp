// All input files of a run together, read and prepared as the program does before
// its SNP loop (merge with the panel, haplotype link, strand alignment, monomorphic
// filter), then the tag search of every SNP. The input holds the model file,
// phenotype, genotype, panel and haplotype files in this order, separated by lines
// "%%"; without the last two the run is one under -ne. The first byte chooses the
// switches -no_fix and -no_remove and the number of tags (1 to 4).
#include <cstdint>
#include <string>
#include <vector>

#include "design/readin.h"
#include "design/tags.h"
#include "driver/panel_input.h"
#include "driver/plan.h"
#include "driver/snpmap.h"
#include "driver/specfile.h"
#include "driver/strand.h"
#include "driver/study_input.h"
#include "input_file.h"
#include "model/rundata.h"

namespace {

std::vector<std::string> sections(const std::string& text) {
  std::vector<std::string> parts(1);
  std::size_t at = 0;
  while (at <= text.size()) {
    std::size_t nl = text.find('\n', at);
    std::size_t end = nl == std::string::npos ? text.size() : nl;
    std::string_view line(text.data() + at, end - at);
    if (line == "%%" || line == "%%\r")
      parts.emplace_back();
    else
      parts.back().append(text, at, (nl == std::string::npos ? end : nl + 1) - at);
    if (nl == std::string::npos) break;
    at = nl + 1;
  }
  return parts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::vector<std::string> part = sections(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  if (part.size() < 3) return 0;
  part.resize(5);
  RunSettings rs;
  rs.ne = part[3].empty() && part[4].empty();
  rs.no_fix = data[0] & 1;
  rs.no_remove = (data[0] >> 1) & 1;
  rs.M = 2 + (data[0] >> 2) % 4;
  InputFile sfile(part[0]), pfile(part[1]), gfile(part[2]), efile(part[3]), hfile(part[4]);

  RunData d;
  std::vector<std::string> warnings;
  std::string e = read_header(d.model, pfile.name(), sfile.name(), 1, warnings);
  check_verdict(e);
  if (!e.empty()) return 0;
  e = read_phenotypes(pfile.name(), d.model, d.study);
  check_verdict(e);
  if (!e.empty() || d.study.n == 0) return 0;
  order_dependent_first(d.model, d.study);
  if (d.model.design == kCrossSectional) classify_trait(d.study);
  e = read_genotypes(gfile.name(), d.model.mode, d.study);
  check_verdict(e);
  if (!e.empty()) return 0;
  if (rs.ne) {
    map_study_only(d.study, d.map);
  } else {
    e = read_panel(efile.name(), d.model, d.panel);
    check_verdict(e);
    if (!e.empty()) return 0;
    e = read_haplotypes(hfile.name(), d.panel);
    check_verdict(e);
    if (!e.empty()) return 0;
    merge_by_position(d.study, d.panel, d.map);
    link_haplotypes(d.panel, d.map);
    drop_unphased(d.map);
    align_strands(d.map, d.study, d.panel, rs.no_fix, rs.no_remove);
  }
  drop_monomorphic(d.map, d.study, d.panel, d.model.mode, rs.ne);

  // The tag search of each SNP that the loop analyses from tags.
  TagContext ctx{rs, d.model, d.study, d.panel, d.map};
  TagWorkspace ws;
  TagChoice best;
  for (int s = 0; s < d.map.len(); s++) {
    const int path = snp_path(d, rs, s);
    if (path != kUntyped && path != kTypedMissing) continue;
    getMD_max(best, s, path == kTypedMissing ? 1 : 0, ctx, ws);
    if (best.md >= 1e-06 && best.set.size() < static_cast<std::size_t>(rs.M)) std::abort();
  }
  return 0;
}
