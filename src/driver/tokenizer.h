// Fast reading of the white-space separated text files of a run: a line reader that
// takes the file in large blocks and hands out each line in place, and a cursor
// over one line giving words and single non-blank characters. Nothing is allocated
// per line or per word. A carriage return counts as white space, so CRLF files read
// like plain ones, and a last line without its newline is still a line.
#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

// White space between fields: blank, tab, newline, vertical tab, form feed, carriage return.
inline bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Reads a file line by line through one buffer. The view handed out by next() stays
// valid until the following call of next() or rewind().
class LineReader {
 public:
  static constexpr std::size_t kBlockSize = std::size_t{1} << 20;  // bytes taken per read

  explicit LineReader(std::size_t block_size = kBlockSize);

  // Opens the file; false when it cannot be opened.
  bool open(const std::string& name);

  // The next line without its newline; false at the end of the file or after a
  // read failure (see failed()).
  bool next(std::string_view& line);

  // 1-based number of the line last handed out (0 before the first).
  int line_number() const { return line_; }

  // True when the system reported a read failure (for instance on a folder), or
  // when a line was too long for the memory left (see refused()).
  bool failed() const { return failed_; }

  // The buffer size in bytes that could not be had for a long line; 0 when none.
  std::size_t refused() const { return refused_; }

  // True when the file went beyond what the readers count in an int: a line of
  // kMaxLineLength characters or more, or kMaxLines lines.
  bool too_large() const { return too_large_; }
  static constexpr std::size_t kMaxLineLength = std::size_t{1} << 31;
  static constexpr int kMaxLines = 2147483647;

  // Back to the start of the file, line numbers from 1 again.
  void rewind();

 private:
  struct Closer {
    void operator()(std::FILE* f) const { std::fclose(f); }
  };
  struct Freer {
    void operator()(char* p) const { std::free(p); }
  };
  std::unique_ptr<std::FILE, Closer> file_;
  // Grown with realloc, which moves a large block without copying it and leaves the
  // new part untouched: a long line costs its own length in memory, not three times it.
  std::unique_ptr<char, Freer> buf_;
  std::size_t size_ = 0;   // bytes in buf_
  std::size_t begin_ = 0;  // start of the unread text in buf_
  std::size_t scan_ = 0;   // where the search for the next newline resumes
  std::size_t end_ = 0;    // end of the text in buf_
  bool eof_ = false;
  bool failed_ = false;
  std::size_t refused_ = 0;
  bool too_large_ = false;
  int line_ = 0;
};

// True when the line holds at least one non-blank character.
bool has_word(std::string_view line);

// A cursor over one line.
class Words {
 public:
  explicit Words(std::string_view line) : p_(line.data()), end_(line.data() + line.size()) {}

  // The next white-space separated word; false when only blanks are left.
  bool next(std::string_view& word) {
    skip_blanks();
    if (p_ == end_) return false;
    const char* start = p_;
    while (p_ < end_ && !is_blank(*p_)) p_++;
    word = std::string_view(start, static_cast<std::size_t>(p_ - start));
    return true;
  }

  // The next character that is not white space; false when only blanks are left.
  bool next_char(char& c) {
    skip_blanks();
    if (p_ == end_) return false;
    c = *p_++;
    return true;
  }

  // True when only blanks are left.
  bool at_end() {
    skip_blanks();
    return p_ == end_;
  }

  // The words left, counted without consuming them.
  int count_words() const;

  // The non-blank characters left, counted without consuming them.
  int count_chars() const;

  // Direct access for the tight loops of the genotype readers.
  const char*& pos() { return p_; }
  const char* end() const { return end_; }

 private:
  void skip_blanks() {
    while (p_ < end_ && is_blank(*p_)) p_++;
  }
  const char* p_;
  const char* end_;
};

// A whole word that is an integer: an optional sign and decimal digits. False for
// anything else, and for values outside the range of int.
bool parse_int(std::string_view word, int& value);

// A whole word that is a finite decimal number: optional sign, digits with an
// optional decimal point (at least one digit), optional exponent. False for
// anything else (such as NA, 1.5x, nan or inf).
bool parse_number(std::string_view word, double& value);

// A word of the input as an error line shows it: at most 40 characters, then "...".
std::string shown(std::string_view word);

// The error line for an allocation refused while reading `file`: what was to be
// held ("the genotypes of 20 SNPs by 1000 individuals") and how many bytes it needs.
std::string not_enough_memory(const std::string& file, const std::string& what, double bytes);

// The error line for a LineReader that failed: a line too long for the memory left,
// or a read failure reported by the system.
std::string read_failure(const LineReader& in, const std::string& file);
