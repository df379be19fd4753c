// Progress of the per-SNP analyses on standard error: one line, rewritten in
// place, with the SNPs done of the total, the rate and the time left. Shown only
// when standard error is a terminal; otherwise nothing is printed.
#pragma once

#include <chrono>
#include <cstdio>

class Progress {
 public:
  // total: the SNPs whose lines will be written.
  Progress(int total, std::FILE* out = stderr);
  void update(int done);
  // Ends the line (when one was shown), before the run ends or reports an error.
  void finish();

 private:
  bool on_ = false;
  bool shown_ = false;
  int total_ = 0;
  std::FILE* out_;
  std::chrono::steady_clock::time_point start_, last_;
};
