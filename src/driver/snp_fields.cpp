#include "driver/snp_fields.h"

#include "driver/fatal.h"
#include "model/model.h"
#include "model/panel.h"

std::string read_snp_id(Words& words, std::string& id, int ln, const char* file) {
  std::string_view word;
  words.next(word);
  if (word.size() > static_cast<std::size_t>(kMaxWordLength))
    return format("Error: SNP identifier '%s' on line %d of '%s' is longer than %d characters.\n",
                  shown(word).c_str(), ln, file, kMaxWordLength);
  id = word;
  return "";
}

std::string read_position(Words& words, int& pos, int ln, const char* file) {
  std::string_view word;
  if (!words.next(word)) return format("Error: Line %d of '%s' has no position.\n", ln, file);
  int value = 0;
  if (!parse_int(word, value))
    return format("Error: Position '%s' on line %d of '%s' is not an integer.\n", shown(word).c_str(), ln, file);
  if (value <= kLeftSentinel || value >= kRightSentinel)
    return format("Error: Position %d on line %d of '%s' is out of range (%d to %d).\n", value, ln, file,
                  kLeftSentinel + 1, kRightSentinel - 1);
  pos = value;
  return "";
}

std::string read_letters(Words& words, char& a1, char& a2, int ln, const char* file) {
  if (!words.next_char(a1) || !words.next_char(a2))
    return format("Error: Line %d of '%s' has no allele letters.\n", ln, file);
  return "";
}
