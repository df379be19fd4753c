// The block line reader and the word parsers: lines across block boundaries, CRLF
// endings, a missing last newline, and what counts as an integer or a number.
#include <gtest/gtest.h>

#include "driver/tokenizer.h"
#include "support/process.h"

TEST(LineReader, LinesAcrossBlocksCrlfAndAMissingLastNewline) {
  ScratchDir dir;
  dir.write("f.txt", "first line\n\nthird line is longer than one block\r\nlast");
  for (std::size_t block : {1u, 3u, 7u, 1u << 20}) {
    LineReader in(block);
    ASSERT_TRUE(in.open((dir.path() / "f.txt").string()));
    for (int pass = 0; pass < 2; pass++, in.rewind()) {
      std::vector<std::string> lines;
      std::string_view line;
      while (in.next(line)) lines.emplace_back(line);
      EXPECT_EQ(lines, (std::vector<std::string>{"first line", "", "third line is longer than one block\r", "last"}));
      EXPECT_EQ(in.line_number(), 4);
    }
  }
  // A folder opens but cannot be read: a failure, not an empty file.
  LineReader folder;
  ASSERT_TRUE(folder.open(dir.path().string()));
  std::string_view line;
  EXPECT_FALSE(folder.next(line));
  EXPECT_TRUE(folder.failed());
}

TEST(Parsing, IntegersAndNumbersAreWholeWords) {
  int i = 0;
  EXPECT_TRUE(parse_int("+7", i) && i == 7);
  EXPECT_TRUE(parse_int("-3", i) && i == -3);
  for (const char* bad : {"", "+", "+-1", "1.0", "1e3", "12a", "2147483648", "NA"}) EXPECT_FALSE(parse_int(bad, i)) << bad;

  double v = 0;
  for (auto [word, value] : {std::pair{"0.9", 0.9}, {"+3", 3.0}, {".5", 0.5}, {"5.", 5.0}, {"2.5E-2", 0.025}}) {
    EXPECT_TRUE(parse_number(word, v)) << word;
    EXPECT_EQ(v, value) << word;
  }
  for (const char* bad : {"", "NA", ".", "-", "1.5x", "1e", "nan", "inf", "0x10", "1,5", "1e999", "+-1"})
    EXPECT_FALSE(parse_number(bad, v)) << bad;
}
