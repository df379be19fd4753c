#include "report.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <set>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kestrova_version.h"
#include "html.h"
#include "plots.h"
#include "regional.h"
#include "ssf.h"
#include "stats.h"

extern char** environ;

namespace fs = std::filesystem;

namespace report {

namespace {

constexpr const char* kNA = "NA";

// The p-value to print: the file's own digits unless it printed 0 (underflow).
std::string p_text(const ResultRow& r) {
  if (!r.analysed) return kNA;
  const double p = std::strtod(r.p.c_str(), nullptr);
  if (p > 0.0 || !std::isfinite(r.minus_log10p)) return r.p;
  return p_from_log(r.minus_log10p);
}

// The converter's full path when it is on PATH, else "".
std::string find_on_path(const std::string& program) {
  if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0 ? program : "";
  const char* path = std::getenv("PATH");
  if (!path) return "";
  std::string dirs = path;
  std::size_t start = 0;
  while (start <= dirs.size()) {
    std::size_t end = dirs.find(':', start);
    if (end == std::string::npos) end = dirs.size();
    const std::string dir = end > start ? dirs.substr(start, end - start) : ".";
    const std::string full = dir + "/" + program;
    if (access(full.c_str(), X_OK) == 0) return full;
    start = end + 1;
  }
  return "";
}

// Converts an SVG file to PNG; "" or a warning line.
std::string to_png(const std::string& converter, const std::string& svg, const std::string& png) {
  const std::string tmp = png + ".part";
  std::vector<std::string> args = {converter, "-f", "png", "-o", tmp, svg};
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, converter.c_str(), nullptr, nullptr, argv.data(), environ) != 0)
    return "Warning: " + converter + " could not be started; no PNG for " + svg + "\n";
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::remove(tmp.c_str());
    return "Warning: " + converter + " failed on " + svg + "; no PNG written\n";
  }
  std::error_code ec;
  fs::rename(tmp, png, ec);
  if (ec) return "Warning: " + png + " could not be written (" + ec.message() + ")\n";
  return "";
}

std::string safe_name(const std::string& term) {
  std::string s = term;
  for (char& c : s)
    if (c == '/') c = '_';
  return s;
}

// The study's design, model and mode of inheritance from the first run's
// specification file (in its input folder), and the program's version.
SsfMeta run_meta(const ReportOptions& opt) {
  SsfMeta meta;
  meta.build = opt.build;
  meta.software = std::string("kestrova ") + KESTROVA_VERSION_TEXT;
  std::ifstream spec;
  for (const RunInput& run : opt.runs) {
    const fs::path folder = run.data.empty() ? fs::path(run.prefix).parent_path() : fs::path(run.data);
    spec.open(folder / "specification.txt");
    if (spec) break;
  }
  std::string line;
  while (std::getline(spec, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const std::size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    std::string key = line.substr(0, eq), value = line.substr(eq + 1);
    auto trim = [](std::string& x) {
      x.erase(0, x.find_first_not_of(" \t"));
      x.erase(x.find_last_not_of(" \t") + 1);
    };
    trim(key);
    trim(value);
    if (key == "DESIGN") meta.design = value;
    if (key == "EFFECT") meta.model = value;
    if (key == "MODE") meta.mode = value;
  }
  if (meta.mode.empty() && !meta.design.empty()) meta.mode = "additive";
  return meta;
}

}  // namespace

std::string p_from_log(double minus_log10p) {
  if (!std::isfinite(minus_log10p)) return kNA;
  double e = std::floor(-minus_log10p);
  double m = std::pow(10.0, -minus_log10p - e);
  if (std::round(m * 100.0) >= 1000.0) {
    m /= 10.0;
    e += 1.0;
  }
  return formatted("%.2fe%c%02.0f", m, e < 0 ? '-' : '+', std::fabs(e));
}

std::map<std::string, std::string> find_run_files(const std::string& prefix) {
  const fs::path given(prefix);
  const fs::path parent = given.parent_path();
  const fs::path dir = parent.empty() ? fs::path(".") : parent;
  std::string stem = given.filename().string();
  if (stem.empty() || stem.back() != '_') stem += "_";
  std::map<std::string, std::string> files;
  std::error_code ec;
  fs::directory_iterator it(dir, ec);
  if (ec) throw ReportError("Error: " + dir.string() + ": cannot be listed (" + ec.message() + ")");
  for (const fs::directory_entry& e : it) {
    const std::string name = e.path().filename().string();
    if (name.size() <= stem.size() + 4 || name.compare(0, stem.size(), stem) != 0 ||
        name.compare(name.size() - 4, 4, ".out") != 0)
      continue;
    if (!e.is_regular_file(ec)) continue;
    files[name.substr(stem.size(), name.size() - stem.size() - 4)] = (parent / name).string();
  }
  if (files.empty()) throw ReportError("Error: no result files '" + (parent / stem).string() + "*.out' found");
  return files;
}

TermTable gather_term(const std::string& term, const std::vector<RunInput>& runs,
                      const std::vector<std::map<std::string, std::string>>& files,
                      const std::vector<DiagTable>& diags) {
  TermTable t;
  t.term = term;
  for (std::size_t k = 0; k < runs.size(); k++) {
    const auto it = files[k].find(term);
    if (it == files[k].end())
      throw ReportError("Error: run '" + runs[k].prefix + "' has no result file for the term '" + term + "'");
    long long samples = -1;
    std::vector<ResultRow> rows = read_result_file(it->second, runs[k].chr, &samples);
    t.samples = std::max(t.samples, samples);
    const DiagTable* diag = k < diags.size() ? &diags[k] : nullptr;
    for (ResultRow& r : rows) {
      if (diag) {
        const auto d = diag->find(diag_key(r.id, r.pos));
        if (d != diag->end()) {
          r.n = d->second.n;
          r.info = d->second.info;
          r.path = d->second.path;
          r.analysis = d->second.analysis;
        }
      }
      t.rows.push_back(std::move(r));
    }
  }
  // Rank the distinct chromosome names once, then sort by rank and position.
  std::vector<std::string> names;
  for (const ResultRow& r : t.rows)
    if (names.empty() || names.back() != r.chr) names.push_back(r.chr);
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  std::stable_sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    return chromosome_key(a) < chromosome_key(b);
  });
  std::map<std::string, int> rank_of;
  for (std::size_t k = 0; k < names.size(); k++) rank_of[names[k]] = static_cast<int>(k);
  std::vector<int> rank(t.rows.size());
  for (std::size_t i = 0; i < t.rows.size(); i++) rank[i] = rank_of[t.rows[i].chr];
  std::vector<std::size_t> order(t.rows.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    if (rank[a] != rank[b]) return rank[a] < rank[b];
    return t.rows[a].pos < t.rows[b].pos;
  });
  std::vector<ResultRow> sorted;
  sorted.reserve(order.size());
  for (std::size_t i : order) sorted.push_back(std::move(t.rows[i]));
  t.rows = std::move(sorted);

  std::vector<double> z;
  for (const ResultRow& r : t.rows)
    if (r.usable()) z.push_back(r.zval);
  t.lambda = lambda_gc(std::move(z));
  return t;
}

std::string term_tsv(const TermTable& t) {
  auto or_na = [](const std::string& v) { return v.empty() ? std::string(kSsfMissing) : v; };
  std::string out = std::string(kSsfHeads) + "\n";
  for (const ResultRow& r : t.rows) {
    const std::string chr = ssf_chromosome(r.chr), effect(1, r.effect), other(1, r.other);
    const bool rs = r.id.size() > 2 && r.id.compare(0, 2, "rs") == 0 &&
                    r.id.find_first_not_of("0123456789", 2) == std::string::npos;
    out += chr + "\t" + std::to_string(r.pos) + "\t" + effect + "\t" + other + "\t";
    if (r.analysed)
      out += r.est + "\t" + r.se + "\t";
    else
      out += std::string(kSsfMissing) + "\t" + kSsfMissing + "\t";
    out += r.freq + "\t";
    const bool p_known = r.analysed && std::isfinite(r.minus_log10p);
    out += (p_known ? p_text(r) : kSsfMissing) + std::string("\t") +
           (p_known ? formatted("%.6f", r.minus_log10p) : kSsfMissing) + "\t";
    out += chr + "_" + std::to_string(r.pos) + "_" + other + "_" + effect + "\t" + (rs ? r.id : kSsfMissing) + "\t";
    out += or_na(r.info) + "\t" + or_na(r.n) + "\t" + (r.analysed ? r.z : kSsfMissing) + "\t" +
           (r.typed ? r.share : "0") + "\t" + (r.typed ? kSsfMissing : r.md) + "\t" + or_na(r.path) + "\t" +
           or_na(r.analysis) + "\n";
  }
  return out;
}

std::string term_summary(const TermTable& t, int top) {
  std::size_t usable = 0, failed = 0, gw = 0, sg = 0;
  const double gw_level = -std::log10(kGenomeWide), sg_level = -std::log10(kSuggestive);
  std::vector<const ResultRow*> best;
  for (const ResultRow& r : t.rows) {
    if (!r.analysed) failed++;
    if (!r.usable()) continue;
    usable++;
    if (r.minus_log10p >= gw_level) gw++;
    if (r.minus_log10p >= sg_level) sg++;
    best.push_back(&r);
  }
  std::stable_sort(best.begin(), best.end(),
                   [](const ResultRow* a, const ResultRow* b) { return a->minus_log10p > b->minus_log10p; });
  if (best.size() > static_cast<std::size_t>(top)) best.resize(static_cast<std::size_t>(top));
  auto snps = [](std::size_t k) { return std::to_string(k) + (k == 1 ? " SNP" : " SNPs"); };
  std::string s = "Term " + t.term + ": " + snps(t.rows.size()) + ", " + std::to_string(usable) +
                  " analysed, " + std::to_string(failed) + " not analysed; lambda (genomic control) " +
                  (std::isfinite(t.lambda) ? formatted("%.4f", t.lambda) : std::string(kNA)) + "\n";
  s += "  p < 5e-8: " + snps(gw) + "; p < 1e-5: " + snps(sg) + "\n";
  if (!best.empty()) {
    s += formatted("  %-5s  %-15s  %11s  %-7s  %8s  %7s  %9s  %-9s  %11s\n", "CHR", "SNP", "POS",
                  "TYPED", "BETA", "SE", "Z", "P", "NEG_LOG10_P");
    for (const ResultRow* r : best) {
      s += formatted("  %-5s  %-15s  %11lld  %-7s  %8s  %7s  %9s  %-9s  %11.4f\n", r->chr.c_str(),
                    r->id.c_str(), r->pos, r->typed ? r->share.c_str() : "untyped", r->est.c_str(), r->se.c_str(),
                    r->z.c_str(), p_text(*r).c_str(), r->minus_log10p);
    }
  }
  return s;
}

void write_file(const std::string& path, const std::string& content) {
  const std::string tmp = path + ".part";
  {
    std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
    if (!out) throw ReportError("Error: " + path + ": cannot be written (" + std::strerror(errno) + ")");
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) {
      std::remove(tmp.c_str());
      throw ReportError("Error: " + path + ": write failed");
    }
  }
  std::error_code ec;
  fs::rename(tmp, path, ec);
  if (ec) {
    std::remove(tmp.c_str());
    throw ReportError("Error: " + path + ": cannot be written (" + ec.message() + ")");
  }
}

std::string make_report(const ReportOptions& opt, std::string& log, std::string& warnings) {
  try {
    if (opt.runs.empty()) throw ReportError("Error: no run given (write CHR:PREFIX or --chr CHR PREFIX)");
    std::vector<std::map<std::string, std::string>> files;
    for (const RunInput& run : opt.runs) files.push_back(find_run_files(run.prefix));
    std::vector<std::string> terms = opt.terms;
    if (terms.empty()) {
      std::set<std::string> all;
      for (const auto& f : files)
        for (const auto& [term, path] : f) all.insert(term);
      terms.assign(all.begin(), all.end());
    }
    for (const std::string& term : terms)
      for (std::size_t k = 0; k < files.size(); k++)
        if (!files[k].count(term))
          throw ReportError("Error: run '" + opt.runs[k].prefix + "' has no result file for the term '" + term + "'");
    const std::string converter = opt.png ? find_on_path(opt.converter) : "";
    // Each run's diagnostics, when it has them; said once when some run has none.
    std::vector<DiagTable> diags;
    std::string without;
    for (const RunInput& run : opt.runs) {
      const std::string path = diag_path(run.prefix);
      std::error_code ec;
      if (fs::is_regular_file(path, ec)) {
        diags.push_back(read_diag_file(path));
      } else {
        diags.emplace_back();
        without += (without.empty() ? "" : ", ") + path;
      }
    }
    if (!without.empty())
      warnings += "Warning: no diagnostics file " + without +
                  " (kestrova -diag PREFIX.diag); the info and n columns of those runs are #NA\n";
    LocusOptions loci;
    loci.top_loci = opt.top_loci;
    loci.flank = opt.flank;
    for (const std::string& text : opt.regions) {
      Region g;
      if (!parse_region(text, g)) throw ReportError("Error: --regions '" + text + "': expected CHR:FROM-TO");
      loci.regions.push_back(g);
    }
    SsfMeta meta = run_meta(opt);
    meta.samples = -1;
    for (const DiagTable& d : diags)
      for (const auto& [key, row] : d) {
        if (!row.n.empty()) meta.samples = std::max(meta.samples, std::stoll(row.n));
        if (!row.cases.empty()) meta.cases = std::max(meta.cases, std::stoll(row.cases));
        if (!row.controls.empty()) meta.controls = std::max(meta.controls, std::stoll(row.controls));
      }
    HtmlSummary html;
    html.title = "Kestrova report: " + fs::path(opt.out).filename().string();
    html.software = meta.software;
    html.build = meta.build;
    html.design = meta.design;
    html.model = meta.model;
    html.diagnostics = without.empty();
    for (const DiagTable& d : diags)
      for (const auto& [key, row] : d) {
        html.paths[row.path.empty() ? "not recorded" : row.path]++;
        if (!row.reason.empty()) html.reasons[row.reason]++;
      }
    std::string summary;
    for (const std::string& term : terms) {
      const TermTable t = gather_term(term, opt.runs, files, diags);
      const std::string base = opt.out + "_" + safe_name(term);
      if (meta.samples < 0) meta.samples = t.samples;
      write_ssf(base, term_tsv(t), meta);
      std::vector<const ResultRow*> plotted;
      std::vector<double> values;
      for (const ResultRow& r : t.rows)
        if (r.usable()) {
          plotted.push_back(&r);
          values.push_back(r.minus_log10p);
        }
      HtmlTerm ht;
      ht.term = term;
      ht.snps = t.rows.size();
      ht.analysed = plotted.size();
      ht.lambda = t.lambda;
      ht.manhattan = manhattan_svg(plotted, term + ": Manhattan plot", opt.labels);
      ht.qq = qq_svg(std::move(values), t.lambda, term + ": QQ plot");
      write_file(base + "_manhattan.svg", ht.manhattan);
      write_file(base + "_qq.svg", ht.qq);
      log += "Wrote " + base + ".tsv.gz (with .tbi and -meta.yaml), " + base + "_manhattan.svg, " + base + "_qq.svg\n";
      std::vector<std::string> pictures = {base + "_manhattan", base + "_qq"};
      for (const Locus& l : choose_loci(t, loci)) {
        const RunInput* run = nullptr;
        for (const RunInput& r : opt.runs)
          if (!run && r.chr == l.lead->chr) run = &r;
        const std::string folder =
            run->data.empty() ? (fs::path(run->prefix).parent_path().empty() ? std::string(".")
                                                                              : fs::path(run->prefix).parent_path().string())
                              : run->data;
        std::vector<RegionalPoint> points;
        std::size_t panel = 0, study = 0, none = 0;
        for (const LdPoint& p : locus_ld(t, l, folder)) {
          points.push_back({p.row->pos, p.row->minus_log10p, p.r2, p.row == l.lead});
          if (p.source == 'p') panel++;
          if (p.source == 's') study++;
          if (p.source == 0) none++;
        }
        const std::string where = l.lead->chr + ":" + std::to_string(l.region.from) + "-" + std::to_string(l.region.to);
        const std::string note = "r\u00b2 with the lead from the panel's phased haplotypes (haplotype.dat): " +
                                 std::to_string(panel) + " SNPs; from the study genotypes (genotype.dat): " +
                                 std::to_string(study) + "; none: " + std::to_string(none);
        const std::string caption = term + ", " + where + ", lead " + l.lead->id + " (p = " + p_text(*l.lead) + ")";
        const std::string svg = regional_svg(points, l.lead->chr, l.region.from, l.region.to, caption, note);
        std::string name = base + "_region_" + l.lead->chr + "_" + std::to_string(l.region.from) + "_" +
                           std::to_string(l.region.to);
        for (char& c : name)
          if (c == ':') c = '_';
        write_file(name + ".svg", svg);
        log += "Wrote " + name + ".svg\n";
        pictures.push_back(name);
        ht.regions.emplace_back(caption, svg);
      }
      if (!converter.empty()) {
        for (const std::string& picture : pictures) {
          const std::string w = to_png(converter, picture + ".svg", picture + ".png");
          if (w.empty())
            log += "Wrote " + picture + ".png\n";
          else
            warnings += w;
        }
      }
      std::vector<const ResultRow*> best;
      for (const ResultRow& r : t.rows)
        if (r.usable()) best.push_back(&r);
      std::stable_sort(best.begin(), best.end(),
                       [](const ResultRow* a, const ResultRow* b) { return a->minus_log10p > b->minus_log10p; });
      for (std::size_t k = 0; k < best.size() && k < static_cast<std::size_t>(opt.top); k++) {
        ht.top.push_back(*best[k]);
        ht.top.back().p = p_text(*best[k]);
      }
      html.terms.push_back(std::move(ht));
      summary += term_summary(t, opt.top) + "\n";
    }
    html.samples = meta.samples;
    html.cases = meta.cases;
    html.controls = meta.controls;
    write_file(opt.out + "_summary.txt", summary);
    if (opt.html) {
      write_file(opt.out + "_report.html", report_html(html));
      log += "Wrote " + opt.out + "_report.html\n";
    }
    log += "Wrote " + opt.out + "_summary.txt\n\n" + summary;
    if (opt.png && converter.empty())
      warnings += "Warning: " + opt.converter + " not found on PATH; plots written as SVG only\n";
  } catch (const ReportError& e) {
    return e.what();
  } catch (const std::exception& e) {
    return std::string("Error: ") + e.what();
  }
  return "";
}

}  // namespace report
