// The SNP records of the genotype, panel and haplotype files, one on each line
// holding a word: the second pass that reads them, and the fields that open a
// record (identifier, position, the two allele letters). Each reader returns ""
// or the error line naming the line `ln` of `file`.
#pragma once

#include <string>
#include <string_view>

#include "driver/fatal.h"
#include "driver/tokenizer.h"

// The second pass over `name`, whose first pass counted `count` records (in is
// rewound): read(words, ln, k) reads record k from the cursor over its line,
// numbered ln, and returns "" or the error line that stops the pass. A file
// that now holds another number of records has changed while it was read.
template <class Read>
std::string read_records(LineReader& in, int count, const std::string& name, Read read) {
  const char* file = name.c_str();
  std::string_view line;
  int k = 0;
  while (in.next(line)) {
    if (!has_word(line)) continue;
    const int ln = in.line_number();
    if (k == count) return format("Error: '%s' changed while it was read.\n", file);
    Words words(line);
    if (std::string e = read(words, ln, k); !e.empty()) return e;
    k++;
  }
  if (in.failed()) return read_failure(in, name);
  if (k != count) return format("Error: '%s' changed while it was read.\n", file);
  return "";
}

// The identifier word at the start of a line, at most kMaxWordLength characters.
std::string read_snp_id(Words& words, std::string& id, int ln, const char* file);

// The position: an integer strictly between the map's sentinels.
std::string read_position(Words& words, int& pos, int ln, const char* file);

// The two allele letters, each the next non-blank character.
std::string read_letters(Words& words, char& a1, char& a2, int ln, const char* file);
