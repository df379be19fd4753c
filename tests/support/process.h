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

// Runs `program args...` inside dir (standard input empty) and captures its
// outputs and exit status.
RunResult run_in(const std::filesystem::path& dir, const std::string& program, const std::vector<std::string>& args);

// The program under test.
RunResult run_kestrova(const ScratchDir& dir, const std::vector<std::string>& args);

// The run log with its two time lines replaced by "<time>", so logs compare exactly.
std::string without_times(const std::string& log);

// Reads a whole file; empty when it cannot be opened.
std::string slurp(const std::filesystem::path& file);

// The end of the run log of a run stopped by an error.
inline constexpr const char* kStop = "\nKestrova was stopped due to error(s) listed above.\n\n";

// Runs the simulator in dir with "--out ." and args; a failed simulation fails the test.
void simulate(const ScratchDir& dir, const std::vector<std::string>& args);

// The words of a followed by those of b.
std::vector<std::string> with(std::vector<std::string> a, const std::vector<std::string>& b);

// The result lines of a result file: everything after the column heads' dashes.
std::string result_lines(const std::string& file);

bool ends_with(const std::string& text, const std::string& tail);

// A run of the program started in the background, for tests that stop it or
// limit its memory.
struct Child {
  int pid = -1;
  std::filesystem::path dir;
};

// Starts `program args...` inside dir with standard output and error going to
// dir/.stdout and dir/.stderr; with address_space > 0 the child may map at most
// that many bytes (setrlimit RLIMIT_AS).
Child start_in(const std::filesystem::path& dir, const std::string& program, const std::vector<std::string>& args,
               long long address_space = 0);

struct Finished {
  RunResult result;
  int signal = 0;        // the signal that ended the child, 0 when it exited
  long max_rss_kb = 0;   // its peak resident memory
};

// Waits for the child to end (wait4, so its own peak memory is known) and reads
// back what it printed.
Finished finish(const Child& child);
