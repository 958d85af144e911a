#include "nvimport/hosting/import/NumberMarks.h"

#include <algorithm>
#include <string>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

constexpr std::size_t kGroup = 3;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// The bytes of the mark that `text` begins with, 0 where it begins with none.
std::size_t MarkSize(std::string_view text, char mark) {
  if (text.starts_with(mark)) return 1;
  // What keeps a line from being broken there: in UTF-8, and in a byte.
  if (mark == ' ')
    for (const std::string_view blank : {"\xe2\x80\xaf", "\xc2\xa0", "\xa0"})
      if (text.starts_with(blank)) return blank.size();
  return 0;
}

// `text` without its marks; none where they do not stand between groups.
std::optional<std::string> Ungrouped(std::string_view text, char mark) {
  const auto* const first = std::ranges::find_if(text, IsDigit);
  auto at = static_cast<std::size_t>(first - text.begin());
  std::string plain(text.substr(0, at));
  const auto take_digits = [&] {
    const std::size_t begin = at;
    while (at < text.size() && IsDigit(text[at])) plain += text[at++];
    return at - begin;
  };
  std::size_t digits = take_digits();
  bool is_grouped = false;
  while (const std::size_t size = MarkSize(text.substr(at), mark)) {
    // Blanks behind the number are no mark.
    if (at + size == text.size() || !IsDigit(text[at + size])) break;
    if (is_grouped ? digits != kGroup : digits > kGroup) return std::nullopt;
    at += size;
    digits = take_digits();
    is_grouped = true;
  }
  if (is_grouped && digits != kGroup) return std::nullopt;
  return plain.append(text.substr(at));
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text, NumberMarks marks) {
  if (marks.thousands == '\0' || marks.thousands == marks.decimal)
    return ParseNumber(text, marks.decimal);
  const auto plain = Ungrouped(text, marks.thousands);
  return plain ? ParseNumber(*plain, marks.decimal) : std::nullopt;
}

}  // namespace nvimport
