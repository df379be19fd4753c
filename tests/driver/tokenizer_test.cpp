// The block line reader and the word cursor: line boundaries across blocks, CRLF
// endings, a missing last newline, and what counts as an integer or a number.
#include <gtest/gtest.h>

#include "driver/tokenizer.h"
#include "support/process.h"

namespace {

struct Line {
  int number;
  std::string text;
  bool operator==(const Line&) const = default;
};

std::vector<Line> lines_of(const std::string& text, std::size_t block) {
  ScratchDir dir;
  dir.write("f.txt", text);
  LineReader in(block);
  EXPECT_TRUE(in.open((dir.path() / "f.txt").string()));
  std::vector<Line> out;
  std::string_view line;
  while (in.next(line)) out.push_back({in.line_number(), std::string(line)});
  EXPECT_FALSE(in.failed());
  return out;
}

std::vector<std::string> words_of(std::string_view line) {
  Words w(line);
  std::vector<std::string> out;
  std::string_view word;
  while (w.next(word)) out.emplace_back(word);
  return out;
}

}  // namespace

TEST(LineReader, LinesLongerThanTheBlockAndAMissingLastNewline) {
  const std::string text = "first line\n\nthird line is longer than one block\r\nlast";
  const std::vector<Line> expected = {
      {1, "first line"}, {2, ""}, {3, "third line is longer than one block\r"}, {4, "last"}};
  for (std::size_t block : {1u, 3u, 7u, 64u, 1u << 20}) EXPECT_EQ(lines_of(text, block), expected) << block;
  EXPECT_EQ(lines_of("", 4), std::vector<Line>{});
  EXPECT_EQ(lines_of("\n", 4), (std::vector<Line>{{1, ""}}));
}

TEST(LineReader, RewindStartsOverWithLineOne) {
  ScratchDir dir;
  dir.write("f.txt", "a\nb\n");
  LineReader in(2);
  ASSERT_TRUE(in.open((dir.path() / "f.txt").string()));
  std::string_view line;
  while (in.next(line)) {
  }
  in.rewind();
  ASSERT_TRUE(in.next(line));
  EXPECT_EQ(line, "a");
  EXPECT_EQ(in.line_number(), 1);
  EXPECT_FALSE(LineReader().open((dir.path() / "absent.txt").string()));
}

TEST(LineReader, AFolderIsAReadFailureNotAnEmptyFile) {
  ScratchDir dir;
  LineReader in;
  ASSERT_TRUE(in.open(dir.path().string()));
  std::string_view line;
  EXPECT_FALSE(in.next(line));
  EXPECT_TRUE(in.failed());
}

TEST(Words, CarriageReturnTabsAndRunsOfBlanksSeparateAlike) {
  EXPECT_EQ(words_of("rs1 \t 100\r"), (std::vector<std::string>{"rs1", "100"}));
  EXPECT_EQ(words_of(" \t\r"), std::vector<std::string>{});
  EXPECT_FALSE(has_word(" \t\r\f\v"));
  EXPECT_TRUE(has_word("\r x"));

  Words w("A\t\tG  0 12\r");
  char a = 0, b = 0;
  ASSERT_TRUE(w.next_char(a));
  ASSERT_TRUE(w.next_char(b));
  EXPECT_EQ(a, 'A');
  EXPECT_EQ(b, 'G');
  EXPECT_EQ(w.count_words(), 2);
  EXPECT_EQ(w.count_chars(), 3);
  std::string_view word;
  ASSERT_TRUE(w.next(word));
  EXPECT_EQ(word, "0");
  ASSERT_TRUE(w.next(word));
  EXPECT_EQ(word, "12");
  EXPECT_TRUE(w.at_end());
  EXPECT_FALSE(w.next_char(a));
}

TEST(Parsing, IntegersAreWholeWordsWithinRange) {
  int v = 0;
  EXPECT_TRUE(parse_int("12", v));
  EXPECT_EQ(v, 12);
  EXPECT_TRUE(parse_int("+7", v));
  EXPECT_EQ(v, 7);
  EXPECT_TRUE(parse_int("-3", v));
  EXPECT_EQ(v, -3);
  for (const char* bad : {"", "+", "-", "+-1", "1.0", "1e3", "12a", "0x1", "2147483648", "NA"})
    EXPECT_FALSE(parse_int(bad, v)) << bad;
}

TEST(Parsing, NumbersAreFiniteDecimalWordsAndAnythingElseIsMissing) {
  double v = 0;
  const std::pair<const char*, double> good[] = {{"1", 1.0},      {"0.9", 0.9}, {"-2.5", -2.5}, {"+3", 3.0},
                                                 {".5", 0.5},     {"5.", 5.0},  {"1e3", 1e3},   {"2.5E-2", 0.025},
                                                 {"-0", -0.0}};
  for (auto [word, value] : good) {
    EXPECT_TRUE(parse_number(word, v)) << word;
    EXPECT_EQ(v, value) << word;
  }
  for (const char* bad : {"", "NA", ".", "-", "1.5x", "1e", "e5", "nan", "inf", "-Infinity", "0x10", "1,5", "1e999",
                          "--1", "+-1"})
    EXPECT_FALSE(parse_number(bad, v)) << bad;
}
