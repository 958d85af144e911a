#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nvimport {

// Texts of labelled data records.

inline constexpr std::string_view kJcampBlanks = " \t\v\f";

inline std::string_view Deblank(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kJcampBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kJcampBlanks) - first + 1);
}

// A label or a value of a closed set, its case and the characters that don't count taken away up to
// the first equals sign, which ends it.
inline std::string Stripped(std::string_view text) {
  constexpr std::string_view kIgnored = " \t\v\f\\/_-";
  constexpr std::size_t kLongest = 256;
  std::string stripped;
  for (const char c : text) {
    if (kIgnored.find(c) != std::string_view::npos) continue;
    stripped += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    if (c == '=' || stripped.size() == kLongest) break;
  }
  return stripped;
}

// The part of a list that has this number, from 0.
inline std::string_view PartOf(std::string_view list, std::size_t number) {
  for (; number > 0; --number) {
    const std::size_t comma = list.find(',');
    if (comma == std::string_view::npos) return {};
    list.remove_prefix(comma + 1);
  }
  return Deblank(list.substr(0, list.find(',')));
}

}  // namespace nvimport
