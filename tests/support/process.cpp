#include "support/process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

namespace {
std::string quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) {
    if (c == '\'')
      q += "'\\''";
    else
      q += c;
  }
  return q + "'";
}
}  // namespace

ScratchDir::ScratchDir() {
  static std::atomic<int> counter{0};
  path_ = fs::temp_directory_path() /
          ("kestrova-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
  fs::remove_all(path_);
  fs::create_directories(path_);
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  fs::remove_all(path_, ec);
}

void ScratchDir::write(const std::string& name, const std::string& text) const {
  std::ofstream out(path_ / name, std::ios::binary);
  out << text;
}

std::string ScratchDir::read(const std::string& name) const { return slurp(path_ / name); }

bool ScratchDir::exists(const std::string& name) const { return fs::exists(path_ / name); }

std::string slurp(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

RunResult run_in(const fs::path& dir, const std::string& program, const std::vector<std::string>& args) {
  std::string cmd = "cd ";
  cmd += quote(dir.string());
  cmd += " && ";
  cmd += quote(program);
  for (const auto& a : args) {
    cmd += ' ';
    cmd += quote(a);
  }
  cmd += " >.stdout 2>.stderr </dev/null";
  int raw = std::system(cmd.c_str());
  RunResult r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = slurp(dir / ".stdout");
  r.err = slurp(dir / ".stderr");
  fs::remove(dir / ".stdout");
  fs::remove(dir / ".stderr");
  return r;
}

RunResult run_kestrova(const ScratchDir& dir, const std::vector<std::string>& args) {
  return run_in(dir.path(), KESTROVA_BIN, args);
}

std::string without_times(const std::string& log) {
  static const std::regex stamp("Kestrova (started|complete): [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}");
  return std::regex_replace(log, stamp, "Kestrova $1: <time>");
}
