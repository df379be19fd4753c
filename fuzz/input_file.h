// The fuzz input as a file the readers can open by name: an anonymous in-memory
// file (memfd) reached through /proc/self/fd, so that every run reads the real
// code path without touching the disk.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

class InputFile {
 public:
  InputFile(const std::uint8_t* data, std::size_t size) {
    fd_ = memfd_create("fuzz-input", 0);
    if (fd_ < 0) std::abort();
    std::size_t done = 0;
    while (done < size) {
      ssize_t put = ::write(fd_, data + done, size - done);
      if (put <= 0) std::abort();
      done += static_cast<std::size_t>(put);
    }
    name_ = "/proc/self/fd/" + std::to_string(fd_);
  }
  explicit InputFile(const std::string& text)
      : InputFile(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()) {}
  ~InputFile() { ::close(fd_); }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& name() const { return name_; }

 private:
  int fd_ = -1;
  std::string name_;
};

// A reader's verdict is "" or one line that stops the run: it starts with "Error: "
// (the panel's column check has its own wording), ends with its only newline and
// stays short whatever the input. Anything else is a defect: abort so that the
// fuzzer keeps the input.
inline void check_verdict(const std::string& verdict) {
  if (verdict.empty()) return;
  const bool starts = verdict.rfind("Error: ", 0) == 0 || verdict.rfind("'PANEL' information", 0) == 0;
  const bool one_line = verdict.back() == '\n' && verdict.find('\n') == verdict.size() - 1;
  if (!starts || !one_line || verdict.size() > 400) std::abort();
}
