// Running the built program in a scratch folder and reading back what it wrote.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct RunResult {
  int status = -1;
  std::string out;  // standard output
  std::string err;  // standard error
};

// A fresh folder under the system's temporary folder, removed with the object.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  void write(const std::string& name, const std::string& text) const;
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;

 private:
  std::filesystem::path path_;
};

// Runs `program args...` inside dir and captures its outputs and exit status.
RunResult run_in(const std::filesystem::path& dir, const std::string& program, const std::vector<std::string>& args);

// The program under test.
RunResult run_kestrova(const ScratchDir& dir, const std::vector<std::string>& args);

// The run log with its two time lines replaced by "<time>", so logs compare exactly.
std::string without_times(const std::string& log);

// Reads a whole file; empty when it cannot be opened.
std::string slurp(const std::filesystem::path& file);
