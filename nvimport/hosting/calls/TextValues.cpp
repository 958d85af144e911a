#include "nvimport/hosting/calls/TextValues.h"

#include <algorithm>
#include <charconv>
#include <chrono>

namespace nvimport {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsWhole(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && std::ranges::all_of(text, IsDigit);
}

// A number of leading zeros is a code.
bool IsCode(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return text.size() > 1 && text[0] == '0' && IsDigit(text[1]);
}

// The number of few digits that a text is, if it is as plain as most are: the digits and the power
// of ten are doubles, so that their quotient is the nearest one.
std::optional<MemoryCell> PlainNumber(std::string_view text, char decimal_mark) {
  constexpr std::size_t kMost = 16;  // of 15 digits and a mark
  constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  if (text.size() > kMost) return std::nullopt;
  long long digits = 0;
  std::size_t mark = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsDigit(text[i]))
      digits = digits * 10 + (text[i] - '0');
    else if (text[i] == decimal_mark && mark == text.size())
      mark = i;
    else
      return std::nullopt;
  }
  const bool is_whole = mark == text.size();
  if (text.size() - (is_whole ? 0 : 1) - 1 >= kMost - 1) return std::nullopt;
  const auto number = static_cast<double>(digits);
  if (is_whole) {
    const long long whole = is_negative ? -digits : digits;
    return MemoryCell{.kind = CellKind::kNumber,
                      .number_kind = NumberKind::kWhole,
                      .wide = static_cast<double>(whole),
                      .whole = whole};
  }
  const double value = number / kPowers[text.size() - mark - 1];
  return MemoryCell{.kind = CellKind::kNumber,
                    .number_kind = NumberKind::kDouble,
                    .wide = is_negative ? -value : value};
}

// Takes a number of exactly so many digits that `text` begins with.
bool TakeDigits(std::string_view& text, std::size_t count, int& number) {
  if (text.size() < count || !std::ranges::all_of(text.substr(0, count), IsDigit)) return false;
  std::from_chars(text.data(), text.data() + count, number);
  text.remove_prefix(count);
  return true;
}

bool TakeMark(std::string_view& text, char mark) {
  if (!text.starts_with(mark)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::optional<MemoryCell> NumberOf(std::string_view text, char decimal_mark) {
  if (text.empty() || text.front() > '9' || IsCode(text)) return std::nullopt;
  if (auto plain = PlainNumber(text, decimal_mark)) return plain;
  if (IsWhole(text)) {
    if (text.front() == '+') text.remove_prefix(1);
    long long whole = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole);
    if (error != std::errc()) return std::nullopt;
    return MemoryCell{.kind = CellKind::kNumber,
                      .number_kind = NumberKind::kWhole,
                      .wide = static_cast<double>(whole),
                      .whole = whole};
  }
  const auto number = ParseNumber(text, decimal_mark);
  if (!number) return std::nullopt;
  return MemoryCell{.kind = CellKind::kNumber, .number_kind = NumberKind::kDouble, .wide = *number};
}

std::optional<std::int64_t> ParseTime(std::string_view text) {
  constexpr std::size_t kLeast = 10;
  constexpr std::int64_t kFirstYear = 1678;  // of those that nanoseconds reach from end to end
  constexpr std::int64_t kLastYear = 2261;
  constexpr int kHours = 24;
  constexpr int kSixty = 60;
  if (text.size() < kLeast || text[4] != '-' || text[7] != '-') return std::nullopt;
  int year = 0;
  int month = 0;
  int day = 0;
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  std::int64_t nanoseconds = 0;
  if (!TakeDigits(text, 4, year) || !TakeMark(text, '-') || !TakeDigits(text, 2, month) ||
      !TakeMark(text, '-') || !TakeDigits(text, 2, day))
    return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok() || year < kFirstYear || year > kLastYear) return std::nullopt;
  if (!text.empty()) {
    if (!TakeMark(text, ' ') && !TakeMark(text, 'T')) return std::nullopt;
    if (!TakeDigits(text, 2, hours) || !TakeMark(text, ':') || !TakeDigits(text, 2, minutes))
      return std::nullopt;
    if (TakeMark(text, ':')) {
      if (!TakeDigits(text, 2, seconds)) return std::nullopt;
      if (TakeMark(text, '.')) {
        std::int64_t unit = std::nano::den;
        if (text.empty()) return std::nullopt;
        for (; !text.empty() && IsDigit(text.front()) && unit > 1; text.remove_prefix(1))
          nanoseconds += (text.front() - '0') * (unit /= 10);
      }
    }
    if (!text.empty() || hours >= kHours || minutes >= kSixty || seconds >= kSixty)
      return std::nullopt;
  }
  const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
  const std::int64_t whole = ((days * kHours + hours) * kSixty + minutes) * kSixty + seconds;
  return whole * std::nano::den + nanoseconds;
}

}  // namespace nvimport
