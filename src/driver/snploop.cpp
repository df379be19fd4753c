#include "driver/snploop.h"

#include <chrono>
#include <vector>

#include "design/complete.h"
#include "analyses/dispatch.h"
#include "design/outfile.h"
#include "design/tags.h"
#include "driver/results.h"

std::string run_snps(RunData& d, const RunSettings& rs, PathStats* stats) {
  Model& model = d.model;
  StudyData& study = d.study;
  const PanelData& panel = d.panel;
  const SnpMap& map = d.map;
  const bool external = rs.ne == 0;

  OutputFiles out = get_outfile(rs.ofile, model, study.cov.data(), study.n);
  ResultFiles files;
  if (std::string e = files.open(out.names); !e.empty()) return e;
  ResultHeader header;
  header.n = study.n;
  header.study_snps = study.nsnp;
  header.external = external;
  header.nTR = model.nTR;
  header.nDU = model.nDU;
  header.nUN = model.nUN;
  header.panel_snps = panel.nsnp;
  header.phased = rs.h == 1;
  header.haplotype_snps = panel.nhap_snp;
  header.mode = model.mode;
  files.write_header(header);

  const int M = rs.M;
  TagContext ctx{rs, model, study, panel, map};
  TagWorkspace ws;
  TagChoice best;
  std::vector<double> est, se;
  Window w;
  Window single;
  Mat<int> geno = imatrix(0, study.n - 1, 0, M - 1);
  Mat<int> geno_ex = imatrix(0, external ? panel.ncol - 1 : -1, 0, M - 1);
  double loglik = 0.0;
  int iter = 0;

  auto prepare = [&](int ext) {
    w.set_size(M);
    w.design = model.design;
    w.mode = model.mode;
    w.pH = model.pH;
    w.SNP_pos = 1;
    w.hap = 0;
    w.ext = ext;
  };

  for (int e = 0; e < map.len(); e++) {
    const MapEntry& me = map[e];
    const auto started = std::chrono::steady_clock::now();
    int path = kCompleteData;
    SnpLine line;
    bool ok = false;
    if (external && me.panel >= 0 && me.study < 0) {
      path = kUntyped;
      line.typed = false;
      line.id = panel.id[me.panel].c_str();
      line.pos = panel.pos[me.panel];
      line.a1 = panel.a1[me.panel];
      line.a2 = panel.a2[me.panel];
      line.freq = panel.freq[me.panel];
      getMD_max(best, e, 0, ctx, ws);
      line.md = best.md;
      if (best.md >= kNoInformation) {
        for (int i = 0; i < study.n; i++) geno[i][0] = kMissingGenotype;
        for (int j = 1; j < M; j++) {
          const std::uint8_t* g = study.genotypes(map[best.set[j]].study);
          for (int i = 0; i < study.n; i++) geno[i][j] = g[i];
        }
        for (int j = 0; j < M; j++) {
          const std::uint8_t* g = panel.genotypes(map[best.set[j]].panel);
          for (int c = 0; c < panel.ncol; c++) geno_ex[c][j] = g[c];
        }
        prepare(1);
        ok = A51_A61_A71(est, se, &loglik, &iter, w, geno, geno_ex, model, study) == 1;
      }
    } else if (me.study >= 0) {
      const int s = me.study;
      line.typed = true;
      line.typed_share = 1.0 - study.missing[s];
      line.id = study.id[s].c_str();
      line.pos = study.pos[s];
      line.a1 = study.a1[s];
      line.a2 = study.a2[s];
      line.freq = study.freq[s];
      if (study.missing[s] < kFullyTyped || (external && rs.h && rs.speed && me.hap < 0)) {
        ok = stan_single(est, se, study, s, model, single) == 1;
      } else {
        path = kTypedMissing;
        getMD_max(best, e, 1, ctx, ws);
        if (best.md >= kNoInformation) {
          for (int j = 0; j < M; j++) {
            const std::uint8_t* g = study.genotypes(map[best.set[j]].study);
            for (int i = 0; i < study.n; i++) geno[i][j] = g[i];
          }
          prepare(0);
          ok = A51_A61_A71(est, se, &loglik, &iter, w, geno, geno_ex, model, study) == 1;
        }
      }
    } else {
      continue;
    }
    files.write_snp(line, ok, est.data(), se.data(), out.index);
    if (stats) {
      stats->count[path]++;
      stats->seconds[path] += std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    }
  }
  return files.close();
}
