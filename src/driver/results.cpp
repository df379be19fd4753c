#include "driver/results.h"

#include <cmath>

#include "core/gamma.h"
#include "driver/fatal.h"

ResultFiles::~ResultFiles() {
  for (std::FILE* f : files_)
    if (f) std::fclose(f);
}

std::string ResultFiles::open(const std::vector<std::string>& names) {
  names_ = names;
  for (const std::string& name : names) {
    std::FILE* f = std::fopen(name.c_str(), "w");
    if (!f) return format("Error: Result file '%s' cannot be written.\n", name.c_str());
    files_.push_back(f);
  }
  return "";
}

void ResultFiles::write_header(const ResultHeader& h) {
  static const char* const kModes[4] = {"additive", "recessive", "dominant", "codominant"};
  for (std::FILE* f : files_) {
    std::fprintf(f,
                 "********************************************************\n"
                 "*                                                      *\n"
                 "*          ANALYSIS OF SNP-DISEASE ASSOCIATION         *\n"
                 "*         WITH POTENTIALLY MISSING GENOTYPE DATA       *\n"
                 "*                                                      *\n"
                 "********************************************************\n\n");
    std::fprintf(f, "Sample Size of the Study   :   %d\n", h.n);
    std::fprintf(f, "Number of SNPs in the Study:   %d\n\n", h.study_snps);
    if (h.external) {
      std::fprintf(f, "Number of Trios in the External Panel:   %d\n", h.nTR);
      std::fprintf(f, "Number of Duos in the External Panel:   %d\n", h.nDU);
      std::fprintf(f, "Number of Singleton in the External Panel:   %d\n", h.nUN);
      std::fprintf(f, "Number of SNPs in the External Panel :   %d\n\n", h.panel_snps);
      if (h.phased)
        std::fprintf(f, "Phased Haplotypes: available\nNumber of SNPs in Phased Haplotypes: %d\n\n", h.haplotype_snps);
      else
        std::fprintf(f, "Phased Haplotypes: not available\n\n");
    }
    std::fprintf(f, "Mode of Inheritance: %s\n\n\n\n", kModes[(h.mode >= 1 && h.mode <= 4 ? h.mode : 1) - 1]);
    std::fprintf(f,
                 "Typd       SNP-id       Position  1/0    MD     Freq   Estimate   StdErr    Z-Stat    p-Value\n"
                 "----  ---------------  ---------  ---  ------  ------  --------  -------  ---------  ---------\n");
    std::fflush(f);
  }
}

double two_sided_p(double z) {
  const double x = z * z / 2.0;
  if (!std::isfinite(x)) return 0.0;  // a Z statistic so large that its tail is below any double
  return gammq(0.5, x);
}

Check untestable(double b, double s) {
  if (!std::isfinite(b)) return Check::kEstimateNotFinite;
  if (!(std::isfinite(s) && s > 0.0)) return Check::kStdErrNotPositive;
  if (!std::isfinite(b / s)) return Check::kZNotFinite;
  return Check::kNone;
}

std::string result_line(const SnpLine& snp, bool ok, double b, double s) {
  // A standard error that is not a positive finite number leaves nothing to test.
  if (ok && untestable(b, s) != Check::kNone) ok = false;
  char lead[160];
  if (snp.typed)
    std::snprintf(lead, sizeof lead, "%4.2lf  %-15s  %9d  %c/%c     -    %6.4lf", snp.typed_share, snp.id, snp.pos,
                  snp.a1, snp.a2, snp.freq);
  else
    std::snprintf(lead, sizeof lead, "  no  %-15s  %9d  %c/%c  %6.4lf  %6.4lf", snp.id, snp.pos, snp.a1, snp.a2,
                  snp.md, snp.freq);
  if (!ok) return std::string(lead) + "      -        -         -          -    \n";
  double z = b / s;
  return std::string(lead) + format("  %8.4lf  %7.4lf  %9.4lf  %.2e\n", b, s, z, two_sided_p(z));
}

void ResultFiles::write_snp(const SnpLine& snp, bool ok, const double* est, const double* se,
                            const std::vector<int>& index) {
  for (std::size_t f = 0; f < files_.size(); f++) {
    double b = ok ? est[index[f]] : 0.0, s = ok ? se[index[f]] : 0.0;
    std::string line = result_line(snp, ok, b, s);
    std::fputs(line.c_str(), files_[f]);
    std::fflush(files_[f]);
  }
}

std::string ResultFiles::close() {
  std::string error;
  for (std::size_t f = 0; f < files_.size(); f++) {
    bool bad = std::ferror(files_[f]) != 0;
    if (std::fclose(files_[f]) != 0) bad = true;
    files_[f] = nullptr;
    if (bad && error.empty()) error = format("Error: Result file '%s' could not be written in full.\n", names_[f].c_str());
  }
  files_.clear();
  return error;
}
