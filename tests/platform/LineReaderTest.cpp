#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "nvimport/platform/LineReader.h"

namespace nvimport {

using namespace std::string_literals;

namespace {

constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();

// The lines of `text`, each behind its position and between bars, and whether they ended in a
// failure; the read number `failing`, from 0, fails.
std::string Lines(const std::string& text, LineReader::End end, std::size_t longest = kAny,
                  int failing = -1) {
  std::size_t at = 0;
  LineReader lines(end, longest, [&](std::span<char> into) -> std::ptrdiff_t {
    if (failing-- == 0) return -1;
    const std::size_t count = text.copy(into.data(), into.size(), at);
    at += count;
    return static_cast<std::ptrdiff_t>(count);
  });
  std::string all;
  LineReader::Line line;
  while (lines.AtLine()) {
    all += std::to_string(lines.position());
    if (!lines.Next(line)) break;
    all += "|" + std::string(line.begin(), line.end()) + "|";
    line.data()[line.size()] = '!';
  }
  return all + (lines.failed() ? "failed" : "");
}

TEST(LineReader, EndsLinesByItsRule) {
  const std::string block(64 * 1024 - 1, 'x');
  const struct {
    const char* why;
    std::string text;
    std::string at_line_feeds;
    std::string at_either;
    std::size_t longest = kAny;
  } kCases[] = {
      {"nothing", "", "", ""},
      {"a last line without its end", "a\nb\r", "0|a|2|b\r|", "0|a|2|b|"},
      {"CR LF", "a\r\n\r\nb", "0|a|3||5|b|", "0|a|3||5|b|"},
      {"pairs of all kinds", "a\n\nb\r\rc\n\rd", "0|a|2||3|b\r\rc|8|\rd|", "0|a|3|b|6|c|9|d|"},
      {"NULs", "a\0b\n"s, "0|a\0b|"s, "0|a\0b|"s},
      {"across blocks", block + "\r\ny\n", "0|" + block + "|65537|y|", "0|" + block + "|65537|y|"},
      {"a block exactly", "a\n" + block.substr(1), "0|a|2|" + block.substr(1) + "|",
       "0|a|2|" + block.substr(1) + "|"},
      {"too long", "abcde\r\nfgh\nabcd", "0|abcd|7|fgh|11|abcd|", "0|abcd|7|fgh|11|abcd|", 3},
      {"a CR too long", "abc\r\nd\n", "0|abc\r|5|d|", "0|abc|5|d|", 3},
      {"far too long", block + block + "\r\nb", "0|xx|131072|b|", "0|xx|131072|b|", 1},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(Lines(c.text, LineReader::End::kLineFeed, c.longest), c.at_line_feeds) << c.why;
    EXPECT_EQ(Lines(c.text, LineReader::End::kEither, c.longest), c.at_either) << c.why;
  }
  EXPECT_EQ(Lines("a\n" + block, LineReader::End::kLineFeed, kAny, 1), "0|a|2failed");
}

}  // namespace

}  // namespace nvimport
