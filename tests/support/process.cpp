#include "support/process.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

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
  return finish(start_in(dir, program, args)).result;
}

RunResult run_kestrova(const ScratchDir& dir, const std::vector<std::string>& args) {
  return run_in(dir.path(), KESTROVA_BIN, args);
}

void simulate(const ScratchDir& dir, const std::vector<std::string>& args) {
  const RunResult r = run_in(dir.path(), KESTROVA_SIM, with({"--out", "."}, args));
  ASSERT_EQ(r.status, 0) << r.err;
}

std::vector<std::string> with(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::string result_lines(const std::string& file) {
  const std::size_t heads = file.find("\n----");
  const std::size_t start = heads == std::string::npos ? heads : file.find('\n', heads + 1);
  return start == std::string::npos ? "" : file.substr(start + 1);
}

bool ends_with(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

std::string without_times(const std::string& log) {
  static const std::regex stamp("Kestrova (started|complete): [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}");
  return std::regex_replace(log, stamp, "Kestrova $1: <time>");
}

Child start_in(const fs::path& dir, const std::string& program, const std::vector<std::string>& args,
               long long address_space) {
  std::vector<std::string> argv_text{program};
  argv_text.insert(argv_text.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : argv_text) argv.push_back(a.data());
  argv.push_back(nullptr);
  const std::string out = (dir / ".stdout").string(), err = (dir / ".stderr").string();
  int pid = ::fork();
  if (pid == 0) {
    // In the child only calls that are safe after fork.
    if (::chdir(dir.c_str()) != 0) ::_exit(126);
    int o = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int e = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int in = ::open("/dev/null", O_RDONLY);
    if (o < 0 || e < 0 || in < 0) ::_exit(126);
    ::dup2(in, 0);
    ::dup2(o, 1);
    ::dup2(e, 2);
    if (address_space > 0) {
      struct rlimit limit {};
      limit.rlim_cur = limit.rlim_max = static_cast<rlim_t>(address_space);
      ::setrlimit(RLIMIT_AS, &limit);
    }
    ::execvp(program.c_str(), argv.data());  // a name without a slash is looked up on PATH
    ::_exit(127);
  }
  return Child{pid, dir};
}

Finished finish(const Child& child) {
  Finished f;
  int raw = 0;
  struct rusage usage {};
  if (::wait4(child.pid, &raw, 0, &usage) != child.pid) return f;
  f.result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  f.signal = WIFSIGNALED(raw) ? WTERMSIG(raw) : 0;
  f.max_rss_kb = usage.ru_maxrss;
  f.result.out = slurp(child.dir / ".stdout");
  f.result.err = slurp(child.dir / ".stderr");
  fs::remove(child.dir / ".stdout");
  fs::remove(child.dir / ".stderr");
  return f;
}
