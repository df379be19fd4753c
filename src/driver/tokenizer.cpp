#include "driver/tokenizer.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "driver/fatal.h"

LineReader::LineReader(std::size_t block_size) : size_(block_size > 0 ? block_size : 1) {}

bool LineReader::open(const std::string& name) {
  file_.reset(std::fopen(name.c_str(), "rb"));
  begin_ = scan_ = end_ = 0;
  eof_ = failed_ = false;
  refused_ = 0;
  too_large_ = false;
  line_ = 0;
  return file_ != nullptr;
}

void LineReader::rewind() {
  if (file_) {
    std::clearerr(file_.get());
    std::fseek(file_.get(), 0, SEEK_SET);
  }
  begin_ = scan_ = end_ = 0;
  eof_ = failed_ = false;
  refused_ = 0;
  too_large_ = false;
  line_ = 0;
}

bool LineReader::next(std::string_view& line) {
  if (!file_ || failed_) return false;
  if (line_ == kMaxLines) {
    too_large_ = failed_ = true;
    return false;
  }
  if (!buf_) {
    buf_.reset(static_cast<char*>(std::malloc(size_)));
    if (!buf_) {
      refused_ = size_;
      failed_ = true;
      return false;
    }
  }
  for (;;) {
    if (scan_ < end_) {
      const void* nl = std::memchr(buf_.get() + scan_, '\n', end_ - scan_);
      if (nl != nullptr) {
        std::size_t at = static_cast<std::size_t>(static_cast<const char*>(nl) - buf_.get());
        line = std::string_view(buf_.get() + begin_, at - begin_);
        begin_ = scan_ = at + 1;
        line_++;
        return true;
      }
    }
    if (eof_) {
      if (begin_ == end_) return false;
      // The last line has no newline.
      line = std::string_view(buf_.get() + begin_, end_ - begin_);
      begin_ = scan_ = end_;
      line_++;
      return true;
    }
    // Keep the unfinished line at the front and fill the rest of the buffer,
    // doubling it when one line fills it entirely.
    if (begin_ > 0) {
      std::memmove(buf_.get(), buf_.get() + begin_, end_ - begin_);
      end_ -= begin_;
      begin_ = 0;
    }
    scan_ = end_;
    if (end_ == size_) {
      if (2 * size_ > kMaxLineLength) {
        too_large_ = failed_ = true;
        return false;
      }
      char* bigger = static_cast<char*>(std::realloc(buf_.get(), 2 * size_));
      if (bigger == nullptr) {
        refused_ = 2 * size_;
        failed_ = true;
        return false;
      }
      buf_.release();
      buf_.reset(bigger);
      size_ *= 2;
    }
    std::size_t got = std::fread(buf_.get() + end_, 1, size_ - end_, file_.get());
    if (got == 0) {
      eof_ = true;
      if (std::ferror(file_.get())) {
        failed_ = true;
        return false;
      }
    }
    end_ += got;
  }
}

bool has_word(std::string_view line) {
  for (char c : line)
    if (!is_blank(c)) return true;
  return false;
}

int Words::count_words() const {
  int count = 0;
  const char* p = p_;
  while (p < end_) {
    while (p < end_ && is_blank(*p)) p++;
    if (p == end_) break;
    count++;
    while (p < end_ && !is_blank(*p)) p++;
  }
  return count;
}

int Words::count_chars() const {
  int count = 0;
  for (const char* p = p_; p < end_; p++)
    if (!is_blank(*p)) count++;
  return count;
}

bool parse_int(std::string_view word, int& value) {
  const char* p = word.data();
  const char* end = p + word.size();
  if (p < end && *p == '+') p++;  // from_chars takes '-' but not '+'
  if (p == end || (*p == '-' && word.front() == '+')) return false;
  auto [stop, ec] = std::from_chars(p, end, value);
  return ec == std::errc() && stop == end;
}

bool parse_number(std::string_view word, double& value) {
  // Check the decimal form first: from_chars alone would also take inf, nan and hex digits.
  if (word.empty()) return false;
  const char* p = word.data();
  const char* end = p + word.size();
  const char* digits_from = *p == '+' ? p + 1 : p;  // from_chars takes '-' but not '+'
  if (*p == '+' || *p == '-') p++;
  int digits = 0;
  while (p < end && *p >= '0' && *p <= '9') p++, digits++;
  if (p < end && *p == '.') {
    p++;
    while (p < end && *p >= '0' && *p <= '9') p++, digits++;
  }
  if (digits == 0) return false;
  if (p < end && (*p == 'e' || *p == 'E')) {
    p++;
    if (p < end && (*p == '+' || *p == '-')) p++;
    int exponent_digits = 0;
    while (p < end && *p >= '0' && *p <= '9') p++, exponent_digits++;
    if (exponent_digits == 0) return false;
  }
  if (p != end) return false;
  double v = 0.0;
  auto [stop, ec] = std::from_chars(digits_from, end, v, std::chars_format::general);
  if (ec != std::errc() || stop != end || !std::isfinite(v)) return false;
  value = v;
  return true;
}

std::string shown(std::string_view word) {
  constexpr std::size_t kShown = 40;
  if (word.size() <= kShown) return std::string(word);
  return std::string(word.substr(0, kShown)) + "...";
}

std::string not_enough_memory(const std::string& file, const std::string& what, double bytes) {
  return format("Error: not enough memory to read '%s': %.0f bytes (%.1f MB) needed for %s.\n", file.c_str(), bytes,
                bytes / 1048576.0, what.c_str());
}

std::string read_failure(const LineReader& in, const std::string& file) {
  if (in.too_large())
    return in.line_number() == LineReader::kMaxLines
               ? format("Error: '%s' has more than %d lines.\n", file.c_str(), LineReader::kMaxLines)
               : format("Error: Line %d of '%s' is longer than %zu characters.\n", in.line_number() + 1, file.c_str(),
                        LineReader::kMaxLineLength - 1);
  if (in.refused() > 0)
    return not_enough_memory(file, format("line %d", in.line_number() + 1),
                             static_cast<double>(in.refused()));
  return format("Error: '%s' could not be read.\n", file.c_str());
}
