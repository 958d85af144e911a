#include "platform/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

std::optional<double> ParseNumber(std::string_view text, char decimal_mark) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return std::nullopt;
  text = text.substr(first, text.find_last_not_of(kBlanks) - first + 1);

  std::string with_point;
  if (decimal_mark != '.') {
    if (text.find('.') != std::string_view::npos) return std::nullopt;
    with_point = text;
    std::ranges::replace(with_point, decimal_mark, '.');
    text = with_point;
  }
  // from_chars takes a minus alone, and words that are no numbers here.
  const bool negative = text.front() == '-';
  if (negative || text.front() == '+') text.remove_prefix(1);
  if (text.empty() || (text.front() != '.' && (text.front() < '0' || text.front() > '9')))
    return std::nullopt;
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return negative ? -value : value;
}

std::string_view FormatFloat(float value, FloatText& buffer) {
  char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size() - 1, value).ptr;
  *end = '\0';
  return {buffer.data(), end};
}
