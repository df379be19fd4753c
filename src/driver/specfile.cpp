#include "driver/specfile.h"

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>

#include "driver/fatal.h"
#include "driver/tokenizer.h"

namespace {

constexpr std::size_t kPieceLength = 99;  // characters taken per read of a line

const char* const kKeywords[7] = {"DESIGN", "CATEGORICAL", "DEPENDENT", "PANEL", "MODE", "EFFECT", "OUTPUT"};
enum Keyword { kDesign, kCategorical, kDependent, kPanel, kMode, kEffect, kOutput };

bool read_file(const std::string& name, std::string& text) {
  std::ifstream in(name, std::ios::binary);
  if (!in) return false;
  std::ostringstream buffer;
  buffer << in.rdbuf();
  text = buffer.str();
  return true;
}

// True when the word starts with a decimal number (as a number reader would take it).
bool starts_with_number(const std::string& word) {
  std::size_t i = 0;
  if (i < word.size() && (word[i] == '+' || word[i] == '-')) i++;
  bool digits = false;
  while (i < word.size() && std::isdigit(static_cast<unsigned char>(word[i]))) i++, digits = true;
  if (i < word.size() && word[i] == '.') {
    i++;
    while (i < word.size() && std::isdigit(static_cast<unsigned char>(word[i]))) i++, digits = true;
  }
  return digits;
}

// Reads integers one after another from the words, as a formatted reader would:
// each takes a sign and digits from the start of the text that is left; the
// first text without digits ends the reading.
int read_ints(const std::vector<std::string>& words, std::size_t first, int* out[], int count) {
  std::string rest;
  for (std::size_t w = first; w < words.size(); w++) rest += words[w] + " ";
  const char* s = rest.c_str();
  int done = 0;
  while (done < count) {
    while (std::isspace(static_cast<unsigned char>(*s))) s++;
    const char* start = s;
    if (*s == '+' || *s == '-') s++;
    if (!std::isdigit(static_cast<unsigned char>(*s))) break;
    char* end = nullptr;
    long value = std::strtol(start, &end, 10);
    s = end;
    *out[done++] = static_cast<int>(value);
  }
  return done;
}

struct Reader {
  Model& m;
  const std::string& pfile;
  const std::string& sfile;
  std::vector<std::string>& warnings;

  int count() const { return m.p + m.pH; }

  int find(const std::string& name) const {
    for (int i = 0; i < count(); i++)
      if (m.names[static_cast<std::size_t>(i)] == name) return i;
    return -1;
  }

  int find_covariate(const std::string& name) const {
    for (int i = 0; i < m.p; i++)
      if (m.names[static_cast<std::size_t>(i)] == name) return i;
    return -1;
  }

  std::string append(const std::string& name, int& index) {
    if (count() >= kMaxEffectNames)
      return format("Error: Too many effect names in '%s'; at most %d covariates and genetic terms are allowed.\n",
                    sfile.c_str(), kMaxEffectNames);
    m.names.push_back(name);
    index = count();
    m.pH++;
    return "";
  }

  std::string header() {
    // The first line holding a word; the rest of the file is not read here.
    LineReader in;
    if (!in.open(pfile)) return format("Error: '%s' does not exist.\n", pfile.c_str());
    std::string_view line;
    bool found = false;
    while (!found && in.next(line)) found = has_word(line);
    if (in.failed()) return read_failure(in, pfile);
    std::vector<std::string> words = found ? split_words(std::string(line)) : std::vector<std::string>{};
    if (words.empty() || starts_with_number(words[0]))
      return format("Error: Header line is missing in '%s'.\n", pfile.c_str());
    m.names.clear();
    for (std::size_t w = 1; w < words.size(); w++) {
      if (words[w].size() > kMaxWordLength)
        return format("Error: Column name '%s' in '%s' is longer than %d characters.\n", shown(words[w]).c_str(),
                      pfile.c_str(), kMaxWordLength);
      m.names.push_back(words[w]);
    }
    if (m.names.size() > kMaxCovariates)
      return format("Error: Header line of '%s' names %zu covariates; at most %d are allowed.\n", pfile.c_str(),
                    m.names.size(), kMaxCovariates);
    m.p = static_cast<int>(m.names.size());
    m.pH = 0;
    m.categorical.assign(static_cast<std::size_t>(m.p), 0);
    m.dep.assign(static_cast<std::size_t>(m.p), 'I');
    for (auto& row : m.effect) row.fill(0);
    return "";
  }

  std::string effect_term(const std::string& term) {
    std::size_t star = term.find('*');
    if (star == std::string::npos) {
      int i = find(term);
      if (i < 0) {
        if (term != "G") return format("Error: Unknown effect '%s' in EFFECT\n", term.c_str());
        if (std::string e = append(term, i); !e.empty()) return e;
      }
      m.effect[i][i] = 1;
      return "";
    }
    std::string first = term.substr(0, star), second = term.substr(star + 1);
    int i = find(first);
    if (i < 0) {
      if (first != "G") return format("Error: Unknown effect '%s' in EFFECT\n", first.c_str());
      if (std::string e = append(first, i); !e.empty()) return e;
    }
    int j = find(second);
    if (j < 0) {
      // Only a product written with the genetic term first may name a new term.
      if (first != "G" || second.empty()) return format("Error: Unknown effect '%s' in EFFECT\n", second.c_str());
      if (std::string e = append(second, j); !e.empty()) return e;
    }
    m.effect[i][j] = 1;
    m.effect[j][i] = 1;
    return "";
  }

  std::string output_term(const std::string& term) {
    std::size_t star = term.find('*');
    if (star == std::string::npos) {
      int i = find(term);
      if (i < 0) return format("Error: Unknown effect '%s' in OUTPUT\n", term.c_str());
      if (m.effect[i][i] != 1) return format("Error: '%s' in OUTPUT is not in EFFECT.\n", term.c_str());
      m.effect[i][i] = 2;
      return "";
    }
    std::string first = term.substr(0, star), second = term.substr(star + 1);
    int i = find(first);
    if (i < 0) return format("Error: Unknown effect '%s' in OUTPUT\n", first.c_str());
    int j = find(second);
    if (j < 0) return format("Error: Unknown effect '%s' in OUTPUT\n", second.c_str());
    if (m.effect[i][j] != 1) return format("Error: '%s' in OUTPUT is not in EFFECT.\n", term.c_str());
    m.effect[i][j] = 2;
    m.effect[j][i] = 2;
    return "";
  }

  std::string keyword_lines() {
    std::string text;
    if (!read_file(sfile, text)) return format("Error: '%s' does not exist.\n", sfile.c_str());
    // Two walks over the pieces, each split into words as it comes: first every
    // line's form, then the keywords. Only the text itself is held.
    std::vector<std::string> words;
    std::size_t at = 0;
    auto next_line = [&]() {
      if (at >= text.size()) return false;
      std::size_t end = piece_end(text, at);
      words = split_words(text.substr(at, end - at));
      at = end;
      return true;
    };
    if (!next_line() || words.empty() || words[0] != "DESIGN")
      return format("Error: DESIGN is not defined in the first line of '%s'.\n", sfile.c_str());

    for (at = 0; next_line();) {
      if (words.empty()) continue;
      for (const std::string& w : words)
        if (w.size() > kMaxWordLength)
          return format("Error: Word '%s' in '%s' is longer than %d characters.\n", shown(w).c_str(), sfile.c_str(),
                        kMaxWordLength);
      if (words.size() < 3) return format("Error: '%s' cannot be empty.\n", words[0].c_str());
    }

    bool seen[7] = {};
    for (at = 0; next_line();) {
      if (words.empty()) continue;
      int key = -1;
      for (int k = 0; k < 7; k++)
        if (words[0] == kKeywords[k]) key = k;
      if (key < 0) return format("Error: Unknown KEYWORD '%s'.\n", words[0].c_str());
      seen[key] = true;
      std::string e;
      switch (key) {
        case kDesign: e = design(words[2]); break;
        case kCategorical:
        case kDependent:
          for (std::size_t w = 2; w < words.size(); w++) {
            int i = find_covariate(words[w]);
            if (i < 0)
              return format("Error: Unknown value '%s' for %s.\n", words[w].c_str(), kKeywords[key]);
            if (key == kCategorical)
              m.categorical[static_cast<std::size_t>(i)] = 1;
            else
              m.dep[static_cast<std::size_t>(i)] = 'D';
          }
          break;
        case kPanel:
          if (ext == 0) {
            warnings.push_back("Warning: PANEL will be ignored since '-ne' is used\n");
          } else {
            int* counts[3] = {&m.nTR, &m.nDU, &m.nUN};
            read_ints(words, 2, counts, 3);
          }
          break;
        case kMode: e = mode(words[2]); break;
        case kEffect:
          for (std::size_t w = 2; w < words.size() && e.empty(); w++) e = effect_term(words[w]);
          break;
        case kOutput:
          for (std::size_t w = 2; w < words.size() && e.empty(); w++) e = output_term(words[w]);
          break;
      }
      if (!e.empty()) return e;
    }
    if (!seen[kDesign]) return "Error: DESIGN is not specified.\n";
    if (!seen[kEffect]) return "Error: EFFECT is not specified.\n";
    if (!seen[kOutput]) return "Error: OUTPUT is not specified.\n";

    for (int i = 0; i < count(); i++)
      for (int j = i; j < count(); j++) {
        if (m.effect[i][j] == 1 || m.effect[i][j] == 2) {
          m.effect[j][i] = m.effect[i][j];
        } else {
          m.effect[i][j] = 0;
          m.effect[j][i] = 0;
        }
      }
    return "";
  }

  std::string design(const std::string& value) {
    if (value == "case-control") {
      m.design = kCaseControl;
    } else if (value == "cohort") {
      m.design = kCohort;
      // The first name after the follow-up time is the event column, not a covariate.
      if (m.p == 0)
        return format("Error: Header line of '%s' names no event column for the cohort design.\n", pfile.c_str());
      m.names.erase(m.names.begin());
      m.p--;
      m.categorical.pop_back();
      m.dep.pop_back();
    } else if (value == "cross-sectional") {
      m.design = kCrossSectional;
    } else {
      return format("Error: Unknown value '%s' for DESIGN.\n", value.c_str());
    }
    return "";
  }

  std::string mode(const std::string& value) {
    const char* modes[4] = {"additive", "recessive", "dominant", "codominant"};
    for (int k = 0; k < 4; k++)
      if (value == modes[k]) {
        m.mode = k + 1;
        return "";
      }
    return format("Error: Unknown value '%s' for MODE.\n", value.c_str());
  }

  int ext;
};

}  // namespace

std::size_t piece_end(const std::string& text, std::size_t start) {
  std::size_t end = start;
  while (end < text.size() && end - start < kPieceLength) {
    if (text[end++] == '\n') break;
  }
  return end;
}

std::vector<std::string> split_words(const std::string& piece) {
  std::vector<std::string> words;
  std::size_t i = 0;
  while (i < piece.size()) {
    while (i < piece.size() && std::isspace(static_cast<unsigned char>(piece[i]))) i++;
    std::size_t start = i;
    while (i < piece.size() && !std::isspace(static_cast<unsigned char>(piece[i]))) i++;
    if (i > start) words.push_back(piece.substr(start, i - start));
  }
  return words;
}

std::string read_header(Model& model, const std::string& pfile, const std::string& sfile, int ext,
                        std::vector<std::string>& warnings) {
  Reader reader{model, pfile, sfile, warnings, ext};
  try {
    if (std::string e = reader.header(); !e.empty()) return e;
    return reader.keyword_lines();
  } catch (const std::bad_alloc&) {
    // Only a specification file far larger than any model needs gets here: it is held whole.
    std::error_code ec;
    const auto size = std::filesystem::file_size(sfile, ec);
    return not_enough_memory(sfile, "its text", ec ? 0.0 : static_cast<double>(size));
  }
}
