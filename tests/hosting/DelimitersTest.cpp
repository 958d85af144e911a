
#include "nvimport/hosting/import/DelimiterGuess.h"
#include "nvimport/hosting/import/Delimiters.h"
#include "tests/support/Cases.h"

namespace nvimport {

TEST(DelimiterGuess, TakesWhatSplitsTheLinesEvenly) {
  const struct {
    const char* why;
    std::vector<std::string> lines;
    const char* shown;
  } kCases[] = {
      {"nothing to go by", {}, "TAB"},
      {"one field a line", {"abc", "def"}, "TAB"},
      {"TABs before the blanks in fields", {"a\t1 2", "b\t3 4"}, "TAB"},
      {"bars", {"a|b|c", "d|e|f"}, "bar"},
      {"numbers with a decimal comma", {"1,5;2,5;3,5", "4,5;5,5;6,5"}, "semicolon"},
      {"fewer commas in one line", {"a,b;c", "1;2"}, "semicolon"},
      {"no reason for either", {"a,b;c", "d,e;f"}, "comma"},
      {"blanks at the ends and in runs", {"  1   2 3", "10 20   30 "}, "runs of blanks"},
      {"text with commas above the table", {"Made today, by hand", "a;b", "c;d"}, "semicolon"},
      {"empty lines count for nothing", {"a;b", "", " \t", "\r", "c;d,"}, "semicolon"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(ShownDelimiter(GuessDelimiter(c.lines)), c.shown);
  }
}

TEST(Delimiters, WhatTheUserWrites) {
  const struct {
    const char* written;
    const char* delimiter;
    bool ignore_consecutive;
    const char* shown;
    const char* canonical;
  } kCases[] = {
      {"Tab", "\t", false, "TAB", "tab"},
      {"\\x2c", ",", false, "comma", "comma"},
      {"BLANK", " ", true, "runs of blanks", "blank"},
      {" ", " ", false, "a single blank", " "},
      {"::", "::", false, "\"::\"", "::"},
      {"", "", false, "none", ""},
      {R"(\x1b')", "\x1b'", false, R"("\x1b'")", R"(\x1b\x27)"},
      {R"(\xe9)", "\xe9", false, "\"é\"", R"(\xe9)"},
      {R"(\\t)", R"(\t)", false, R"("\t")", R"(\x5ct)"},
      {R"(\x00\x+1\x4)", R"(\x00\x+1\x4)", false, R"("\x00\x+1\x4")", R"(\x5cx00\x5cx+1\x5cx4)"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.written);
    const TextImportChoice choice = ParseDelimiter(c.written);
    EXPECT_EQ(choice.delimiter, c.delimiter);
    EXPECT_EQ(choice.ignore_consecutive, c.ignore_consecutive);
    EXPECT_EQ(ShownDelimiter(choice), c.shown);
    EXPECT_EQ(WrittenDelimiter(choice), c.canonical);
    EXPECT_EQ(ParseDelimiter(c.canonical).delimiter, c.delimiter);
  }
  EXPECT_EQ(ShownDelimiter({";", true}) + " " + WrittenDelimiter({";", true}),
            "runs of semicolon semicolon");
}

}  // namespace nvimport
