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

#include "plots.h"
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
                      const std::vector<std::map<std::string, std::string>>& files) {
  TermTable t;
  t.term = term;
  for (std::size_t k = 0; k < runs.size(); k++) {
    const auto it = files[k].find(term);
    if (it == files[k].end())
      throw ReportError("Error: run '" + runs[k].prefix + "' has no result file for the term '" + term + "'");
    std::vector<ResultRow> rows = read_result_file(it->second, runs[k].chr);
    for (ResultRow& r : rows) t.rows.push_back(std::move(r));
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
  std::string out = "CHR\tSNP\tPOS\tTYPED\tMD\tFREQ\tBETA\tSE\tZ\tP\tNEG_LOG10_P\n";
  for (const ResultRow& r : t.rows) {
    out += r.chr + "\t" + r.id + "\t" + std::to_string(r.pos) + "\t" + (r.typed ? r.share : "untyped") + "\t" +
           (r.typed ? kNA : r.md) + "\t" + r.freq + "\t";
    if (r.analysed) {
      out += r.est + "\t" + r.se + "\t" + r.z + "\t" + p_text(r) + "\t" +
             (std::isfinite(r.minus_log10p) ? formatted("%.6f", r.minus_log10p) : kNA) + "\n";
    } else {
      out += "NA\tNA\tNA\tNA\tNA\n";
    }
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
    std::string summary;
    for (const std::string& term : terms) {
      const TermTable t = gather_term(term, opt.runs, files);
      const std::string base = opt.out + "_" + safe_name(term);
      write_file(base + ".tsv", term_tsv(t));
      std::vector<const ResultRow*> plotted;
      std::vector<double> values;
      for (const ResultRow& r : t.rows)
        if (r.usable()) {
          plotted.push_back(&r);
          values.push_back(r.minus_log10p);
        }
      write_file(base + "_manhattan.svg", manhattan_svg(plotted, term + ": Manhattan plot", opt.labels));
      write_file(base + "_qq.svg", qq_svg(std::move(values), t.lambda, term + ": QQ plot"));
      log += "Wrote " + base + ".tsv, " + base + "_manhattan.svg, " + base + "_qq.svg\n";
      if (!converter.empty()) {
        for (const char* kind : {"_manhattan", "_qq"}) {
          const std::string w = to_png(converter, base + kind + ".svg", base + kind + ".png");
          if (w.empty())
            log += "Wrote " + base + kind + ".png\n";
          else
            warnings += w;
        }
      }
      summary += term_summary(t, opt.top) + "\n";
    }
    write_file(opt.out + "_summary.txt", summary);
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
