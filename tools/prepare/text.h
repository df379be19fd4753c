// Reading small text files as a whole and splitting them into lines and fields.
// Windows line ends and a missing final newline read like plain text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace prepare {

// The whole file; false (with a reason in `why`) when it cannot be read.
bool read_file(const std::string& path, std::string& text, std::string& why);

// Calls the lines of text one by one (1-based line numbers), without their line ends.
class LineReader {
public:
    explicit LineReader(std::string_view text) : text_(text) {}
    bool next(std::string_view& line);
    int number() const { return number_; }

private:
    std::string_view text_;
    std::size_t at_ = 0;
    int number_ = 0;
};

enum class Separator { Blanks, Tab, Comma };

// Fields of one line: runs of blanks and tabs separate under Blanks (no empty
// fields); every tab or comma separates under Tab and Comma (empty fields kept,
// blanks around a field trimmed).
void split_fields(std::string_view line, Separator sep, std::vector<std::string_view>& fields);

bool is_blank_line(std::string_view line);

// The text in single quotes, as messages name files and values.
std::string quote(std::string_view s);

// Whole text is a finite decimal number.
bool is_number(std::string_view s);

} // namespace prepare
