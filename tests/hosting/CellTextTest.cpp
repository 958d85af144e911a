
#include "nvimport/hosting/CellText.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {
std::string Decoded(std::string_view bytes, const std::string& encoding = {}) {
  std::string scratch;
  return std::string(TextDecoder(encoding).Decode(bytes, scratch));
}

std::string Encoded(std::string_view utf8, const std::string& encoding) {
  std::string scratch;
  return std::string(TextEncoder(encoding).Encode(utf8, scratch));
}
}  // namespace

TEST(CellText, BytesThatAreNoUtf8AreWindows1252) {
  const struct {
    const char* why;
    std::string_view bytes;
    const char* utf8;
  } kCases[] = {
      {"UTF-8 of two, three, four bytes", "é€𝄞", "é€𝄞"},
      {"the first and last of each size", "\u0080\u07ff\u0800\uffff\U00010000\U0010ffff",
       "\u0080\u07ff\u0800\uffff\U00010000\U0010ffff"},
      {"one byte after eight", "abcdefgh\xe9", "abcdefghé"},
      {"a character cut short", "a\xe2\x82", "aâ‚"},
      {"longer than needed", "\xc0\xaf", "À¯"},
      {"longer than needed, three bytes", "\xe0\x9f\xbf", "àŸ¿"},
      {"a surrogate", "\xed\xa0\x80", "í\u00a0€"},
      {"beyond the last character", "\xf4\x90\x80\x80", "ô\u0090€€"},
      {"undefined bytes", "\x81\x8d\x8f\x90\x9d", "\u0081\u008d\u008f\u0090\u009d"},
      {"the ends of the table", "\x80\x9f\xa0\xff", "€Ÿ\u00a0ÿ"},
      {"one bad byte turns the whole text", "é\xff", "Ã©ÿ"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(Decoded(c.bytes), c.utf8);
  }
}

TEST(CellText, GivenEncodings) {
  EXPECT_EQ(Decoded("caf\x82", "cp437"), "café");
  EXPECT_EQ(Decoded("a\x95\x5c\x62", "cp932"), "a表b");
  EXPECT_EQ(Decoded("a\xff\x62", "utf-8"), "a\ufffdb");
  EXPECT_EQ(Encoded("café €", "windows-1252"), "caf\xe9 \x80");
  EXPECT_EQ(Encoded("a表𝄞b", "iso-8859-1"), "a??b") << "one mark a character, not a byte";
  const std::string many(3000, '\xe9');
  std::string twice;
  for (int i = 0; i < 3000; ++i) twice += "é";
  EXPECT_EQ(Decoded(many, "iso-8859-1"), twice) << "longer than the buffer";
  for (const char* encoding : {"utf-16", "utf-32le", "ebcdic-us", "zork"})
    EXPECT_FALSE(TextDecoder(encoding).ok()) << encoding;
}

TEST(CellText, NothingThatATerminalActsOnIsShown) {
  const struct {
    std::string_view text;
    const char* shown;
  } kCases[] = {
      {"a\x1b[31m\n\t\x7f", R"(a\x1b[31m\x0a\x09\x7f)"},
      {"\u009b1m\u0080\u00a0é", "\\x9b1m\\x80\u00a0é"},
      {"", "\"\""},
      {"\x9b\xff", "›ÿ"},
      {"a\u202eb\u2066\u2029", R"(a\u202eb\u2066\u2029)"},
  };
  for (const auto& c : kCases) EXPECT_EQ(ShownName(c.text), c.shown);
  EXPECT_EQ(EscapeControls({"a\0b", 3}), "a\\x00b");
}

TEST(CellText, CutsToColumnsOfTheTerminal) {
  const struct {
    const char* text;
    std::size_t width;
    const char* cut;
  } kCases[] = {
      {"abcd", 4, "abcd"}, {"abcde", 4, "abc…"}, {"éééé", 4, "éééé"},
      {"表表", 4, "表表"}, {"表表表", 4, "表…"}, {"e\u0301e\u0301e", 3, "e\u0301e\u0301e"},
      {"abc", 1, "…"},     {"表表", 2, "…"},
  };
  for (const auto& c : kCases) EXPECT_EQ(CutToWidth(c.text, c.width), c.cut) << c.text;
}

}  // namespace nvimport
