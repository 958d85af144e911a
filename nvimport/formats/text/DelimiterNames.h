#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

namespace nvimport {

// A byte that has a name in options.
struct NamedByte {
  std::string_view name;
  char byte;
};
inline constexpr NamedByte kDelimiters[] = {
    {"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"bar", '|'}, {"blank", ' '}};

// The name of a delimiter, or itself where it has none.
constexpr std::string_view DelimiterName(std::string_view delimiter) {
  const auto* const named =
      std::ranges::find(kDelimiters, delimiter.size() == 1 ? delimiter[0] : '\0', &NamedByte::byte);
  return named != std::end(kDelimiters) ? named->name : delimiter;
}

}  // namespace nvimport
