#include "driver/results.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>

#include "core/gamma.h"
#include "driver/fatal.h"

ResultFiles::~ResultFiles() {
  for (int fd : fds_)
    if (fd >= 0) ::close(fd);
}

std::string ResultFiles::open(const std::vector<std::string>& names) {
  names_ = names;
  for (const std::string& name : names) {
    int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) return format("Error: Result file '%s' cannot be written.\n", name.c_str());
    fds_.push_back(fd);
    failed_.push_back(0);
  }
  return "";
}

void ResultFiles::put(std::size_t f, const std::string& text) {
  const char* p = text.data();
  std::size_t left = text.size();
  while (left > 0 && !failed_[f]) {
    ssize_t done = ::write(fds_[f], p, left);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) {
      failed_[f] = 1;
      break;
    }
    p += done;
    left -= static_cast<std::size_t>(done);
  }
}

void ResultFiles::write_header(const ResultHeader& h) {
  static const char* const kModes[4] = {"additive", "recessive", "dominant", "codominant"};
  std::string block =
      "********************************************************\n"
      "*                                                      *\n"
      "*          ANALYSIS OF SNP-DISEASE ASSOCIATION         *\n"
      "*         WITH POTENTIALLY MISSING GENOTYPE DATA       *\n"
      "*                                                      *\n"
      "********************************************************\n\n";
  block += format("Sample Size of the Study   :   %d\n", h.n);
  block += format("Number of SNPs in the Study:   %d\n\n", h.study_snps);
  if (h.external) {
    block += format("Number of Trios in the External Panel:   %d\n", h.nTR);
    block += format("Number of Duos in the External Panel:   %d\n", h.nDU);
    block += format("Number of Singleton in the External Panel:   %d\n", h.nUN);
    block += format("Number of SNPs in the External Panel :   %d\n\n", h.panel_snps);
    if (h.phased)
      block += format("Phased Haplotypes: available\nNumber of SNPs in Phased Haplotypes: %d\n\n", h.haplotype_snps);
    else
      block += "Phased Haplotypes: not available\n\n";
  }
  block += format("Mode of Inheritance: %s\n\n\n\n", kModes[(h.mode >= 1 && h.mode <= 4 ? h.mode : 1) - 1]);
  block +=
      "Typd       SNP-id       Position  1/0    MD     Freq   Estimate   StdErr    Z-Stat    p-Value\n"
      "----  ---------------  ---------  ---  ------  ------  --------  -------  ---------  ---------\n";
  for (std::size_t f = 0; f < fds_.size(); f++) put(f, block);
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
  for (std::size_t f = 0; f < fds_.size(); f++) {
    double b = ok ? est[index[f]] : 0.0, s = ok ? se[index[f]] : 0.0;
    put(f, result_line(snp, ok, b, s));
  }
}

std::string ResultFiles::close() {
  std::string error;
  for (std::size_t f = 0; f < fds_.size(); f++) {
    bool bad = failed_[f] != 0;
    if (::close(fds_[f]) != 0) bad = true;
    fds_[f] = -1;
    if (bad && error.empty()) error = format("Error: Result file '%s' could not be written in full.\n", names_[f].c_str());
  }
  fds_.clear();
  failed_.clear();
  return error;
}
