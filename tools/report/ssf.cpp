#include "ssf.h"

#include <htslib/bgzf.h>
#include <htslib/hts.h>
#include <htslib/tbx.h>

#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "stats.h"

namespace report {

namespace {

// The md5 sum of a file's bytes, in hex.
std::string md5_of(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ReportError("Error: " + path + ": cannot be read back");
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  hts_md5_context* ctx = hts_md5_init();
  if (!ctx) throw ReportError("Error: " + path + ": no memory for its md5 sum");
  hts_md5_update(ctx, bytes.data(), static_cast<unsigned long>(bytes.size()));
  unsigned char digest[16];
  hts_md5_final(digest, ctx);
  hts_md5_destroy(ctx);
  char hex[33];
  hts_md5_hex(hex, digest);
  return hex;
}

void rename_into_place(const std::string& from, const std::string& to) {
  std::error_code ec;
  std::filesystem::rename(from, to, ec);
  if (ec) {
    std::remove(from.c_str());
    throw ReportError("Error: " + to + ": cannot be written (" + ec.message() + ")");
  }
}

std::string count(long long v) { return v < 0 ? "'#NA'" : std::to_string(v); }

}  // namespace

std::string ssf_chromosome(const std::string& chr) {
  const ChromosomeKey k = chromosome_key(chr);
  switch (k.group) {
    case 0: return std::to_string(k.number);
    case 1: return "23";
    case 2: return "24";
    case 3: return "25";
    default: return chr;
  }
}

void write_ssf(const std::string& base, const std::string& table, const SsfMeta& meta) {
  const std::string data = base + ".tsv.gz", index = data + ".tbi", yaml = data + "-meta.yaml";
  const std::string data_part = data + ".part", index_part = index + ".part", yaml_part = yaml + ".part";
  BGZF* fp = bgzf_open(data_part.c_str(), "w");
  if (!fp) throw ReportError("Error: " + data + ": cannot be written");
  const bool written = bgzf_write(fp, table.data(), table.size()) == static_cast<ssize_t>(table.size());
  if (bgzf_close(fp) != 0 || !written) {
    std::remove(data_part.c_str());
    throw ReportError("Error: " + data + ": write failed");
  }
  // Column 1 the chromosome, 2 the position (start and end), one header line.
  tbx_conf_t conf = {TBX_GENERIC, 1, 2, 2, '#', 1};
  if (tbx_index_build2(data_part.c_str(), index_part.c_str(), 0, &conf) != 0) {
    std::remove(data_part.c_str());
    std::remove(index_part.c_str());
    throw ReportError("Error: " + index + ": the tabix index cannot be built");
  }
  const std::time_t now = std::time(nullptr);
  char today[16];
  std::strftime(today, sizeof today, "%Y-%m-%d", std::localtime(&now));
  std::string y;
  y += "# GWAS-SSF metadata of " + std::filesystem::path(data).filename().string() + "\n";
  y += "data_file_name: " + std::filesystem::path(data).filename().string() + "\n";
  y += "file_type: GWAS-SSF v1.0\n";
  y += "data_file_md5sum: " + md5_of(data_part) + "\n";
  y += "is_harmonised: false\n";
  y += "is_sorted: true\n";
  y += "genome_assembly: " + meta.build + "\n";
  y += "coordinate_system: 1-based\n";
  y += "effect_statistic: beta\n";
  y += "analysis_software: " + meta.software + "\n";
  y += "date_metadata_last_modified: " + std::string(today) + "\n";
  y += "samples:\n";
  y += "  - sample_size: " + count(meta.samples) + "\n";
  if (meta.cases >= 0) {
    y += "    case_count: " + count(meta.cases) + "\n";
    y += "    control_count: " + count(meta.controls) + "\n";
  }
  y += "kestrova:\n";
  y += "  design: " + (meta.design.empty() ? std::string("'#NA'") : meta.design) + "\n";
  y += "  model: '" + meta.model + "'\n";
  y += "  mode_of_inheritance: " + (meta.mode.empty() ? std::string("'#NA'") : meta.mode) + "\n";
  y += "  beta: '" + std::string(meta.design == "cohort" ? "log hazard ratio per copy of the effect allele (coded by the mode)"
                                : meta.design == "cross-sectional"
                                    ? "change in the trait (log odds ratio for a two-valued trait in windows)"
                                    : "log odds ratio per copy of the effect allele (coded by the mode)") +
       "'\n";
  write_file(yaml_part, y);  // itself written whole, then renamed below
  rename_into_place(index_part, index);
  rename_into_place(yaml_part, yaml);
  rename_into_place(data_part, data);
}

}  // namespace report
