#include "text.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace prepare {

bool read_file(const std::string& path, std::string& text, std::string& why) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        why = std::strerror(errno);
        return false;
    }
    text.clear();
    char buf[1 << 16];
    std::size_t got;
    while ((got = std::fread(buf, 1, sizeof buf, f)) > 0) text.append(buf, got);
    const bool bad = std::ferror(f) != 0;
    std::fclose(f);
    if (bad) {
        why = "read error";
        return false;
    }
    return true;
}

bool LineReader::next(std::string_view& line) {
    if (at_ >= text_.size()) return false;
    std::size_t end = text_.find('\n', at_);
    if (end == std::string_view::npos) end = text_.size();
    line = text_.substr(at_, end - at_);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    at_ = end + 1;
    ++number_;
    return true;
}

namespace {
bool blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

std::string_view trim(std::string_view s) {
    while (!s.empty() && blank(s.front())) s.remove_prefix(1);
    while (!s.empty() && blank(s.back())) s.remove_suffix(1);
    return s;
}
} // namespace

void split_fields(std::string_view line, Separator sep, std::vector<std::string_view>& fields) {
    fields.clear();
    if (sep == Separator::Blanks) {
        std::size_t i = 0;
        while (i < line.size()) {
            while (i < line.size() && blank(line[i])) ++i;
            const std::size_t start = i;
            while (i < line.size() && !blank(line[i])) ++i;
            if (i > start) fields.push_back(line.substr(start, i - start));
        }
        return;
    }
    const char c = sep == Separator::Tab ? '\t' : ',';
    std::size_t start = 0;
    while (true) {
        const std::size_t end = line.find(c, start);
        fields.push_back(trim(line.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start)));
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
}

bool is_blank_line(std::string_view line) { return trim(line).empty(); }

std::string quote(std::string_view s) {
    std::string q;
    q.reserve(s.size() + 2);
    q += '\'';
    q.append(s);
    q += '\'';
    return q;
}

bool is_number(std::string_view s) {
    // Plain decimal form only ([+-]digits[.digits][e[+-]digits]), as the analysis
    // reads numbers: no hexadecimal, inf or nan.
    std::size_t i = 0, digits = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) ++digits;
    if (i < s.size() && s[i] == '.')
        for (++i; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i) ++digits;
    if (digits == 0) return false;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        const std::size_t from = i;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') ++i;
        if (i == from) return false;
    }
    if (i != s.size()) return false;
    const std::string copy(s);
    errno = 0;
    const double v = std::strtod(copy.c_str(), nullptr);
    return std::isfinite(v) && errno != ERANGE;
}

} // namespace prepare
