#include "driver/diag.h"

#include <cmath>
#include <cstdio>

#include "driver/fatal.h"

namespace {

const char* path_name(int path) {
  switch (path) {
    case kCompleteData: return "complete data";
    case kTypedMissing: return "typed with missing genotypes";
    default: return "untyped";
  }
}

std::string number(double x, const char* fmt) { return std::isnan(x) ? "NA" : format(fmt, x); }

std::string count(int x) { return x < 0 ? "NA" : format("%d", x); }

}  // namespace

const char* analysis_name(int path, int design, int anal, bool binary_trait) {
  if (path == kCompleteData) {
    if (design == kCaseControl) return "logistic regression";
    if (design == kCohort) return "Cox regression";
    return "least squares";
  }
  if (anal < 0) return "NA";
  if (design == kCaseControl) {
    if (anal == 0) return "case-control retrospective likelihood with gene-environment dependence";
    if (anal == 1) return "case-control profile likelihood under independence";
    return "case-control retrospective likelihood without covariates";
  }
  if (design == kCohort)
    return anal == 0 ? "cohort proportional hazards with dependence" : "cohort proportional hazards without dependence";
  if (binary_trait)
    return anal == 0 ? "cross-sectional logistic regression with dependence"
                     : "cross-sectional logistic regression without dependence";
  return anal == 0 ? "cross-sectional normal regression with dependence"
                   : "cross-sectional normal regression without dependence";
}

std::string reason_text(const FailReason& f) {
  if (f.check == Check::kNone) return "analysis failed without a recorded reason";
  return std::string(f.stage) + ": " + check_text(f.check);
}

DiagFile::~DiagFile() { discard(); }

std::string DiagFile::open(const std::string& name, const std::vector<std::string>& terms) {
  name_ = name;
  terms_ = terms;
  temp_ = name + ".part";
  file_ = std::fopen(temp_.c_str(), "w");
  if (!file_) return format("Error: Diagnostics file '%s' cannot be written.\n", temp_.c_str());
  std::fputs("SNP-id\tPosition\tPath\tAnalysis\tTags\tMD\tHaplotypes\tIterations\tLogLik\tN\tN_cases\tN_controls\tInfo"
             "\tReason\n",
             file_);
  return "";
}

void DiagFile::write_row(const RunData& d, const SnpJob& job, const SnpResult& r, const std::string& reason) {
  const MapEntry& me = d.map[job.e];
  const bool untyped = job.path == kUntyped;
  const std::string& id = untyped ? d.panel.id[static_cast<std::size_t>(me.panel)]
                                  : d.study.id[static_cast<std::size_t>(me.study)];
  const int pos = untyped ? d.panel.pos[static_cast<std::size_t>(me.panel)]
                          : d.study.pos[static_cast<std::size_t>(me.study)];
  std::string tags;
  for (int t : r.tags) {
    if (!tags.empty()) tags += ',';
    tags += d.study.id[static_cast<std::size_t>(d.map[t].study)];
  }
  const bool window = job.path != kCompleteData;
  std::fprintf(file_, "%s\t%d\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n", id.c_str(), pos,
               path_name(job.path), analysis_name(job.path, d.model.design, r.anal, d.study.cs_bin != 0), tags.c_str(),
               window ? number(r.md, "%.6g").c_str() : "NA", count(r.kk).c_str(), count(r.iter).c_str(),
               number(r.loglik, "%.10g").c_str(), count(r.n).c_str(), count(r.n_cases).c_str(),
               count(r.n_controls).c_str(), number(r.info, "%.4f").c_str(), reason.c_str());
}

std::string DiagFile::finish() {
  if (!file_) return "";
  bool bad = std::ferror(file_) != 0;
  if (std::fclose(file_) != 0) bad = true;
  file_ = nullptr;
  if (bad || std::rename(temp_.c_str(), name_.c_str()) != 0) {
    std::remove(temp_.c_str());
    return format("Error: Diagnostics file '%s' could not be written in full.\n", name_.c_str());
  }
  return "";
}

void DiagFile::discard() {
  if (!file_) return;
  std::fclose(file_);
  file_ = nullptr;
  std::remove(temp_.c_str());
}
