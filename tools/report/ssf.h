// The GWAS Catalog's summary-statistics format (GWAS-SSF): one tab-separated table
// per OUTPUT term, bgzip-compressed, with a tabix index on chromosome and position
// and a metadata file beside it.
#pragma once

#include <string>

#include "report.h"

namespace report {

// The table's column heads: GWAS-SSF's mandatory columns in their order, its
// optional ones, then the program's own.
inline constexpr const char* kSsfHeads =
    "chromosome\tbase_pair_location\teffect_allele\tother_allele\tbeta\tstandard_error\t"
    "effect_allele_frequency\tp_value\tneg_log_10_p_value\tvariant_id\trsid\tinfo\tn\tz\ttyped\tmd\tpath\tanalysis";
inline constexpr const char* kSsfMissing = "#NA";

// A chromosome as GWAS-SSF writes it: 1-22, X = 23, Y = 24, MT = 25 (a leading
// "chr" dropped); any other name as it is.
std::string ssf_chromosome(const std::string& chr);

// What the metadata file says of the study and the run.
struct SsfMeta {
  std::string build = "NR";  // genome assembly (--build); NR: not reported
  std::string design, model, mode;
  long long samples = -1, cases = -1, controls = -1;
  std::string software;
};

// Writes base.tsv.gz (bgzip), base.tsv.gz.tbi and base.tsv.gz-meta.yaml, each
// under a temporary name first. Throws ReportError.
void write_ssf(const std::string& base, const std::string& table, const SsfMeta& meta);

}  // namespace report
