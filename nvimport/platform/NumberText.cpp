#include "nvimport/platform/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

namespace nvimport {

namespace {

// `value` as C's "%0*d" writes it. Returns the end.
char* WritePadded(char* at, int width, int value) {
  std::array<char, 12> digits;
  const char* first = digits.data();
  const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  const auto padding = static_cast<int>(width - (end - first));
  if (value < 0) *at++ = *first++;
  at = std::fill_n(at, std::max(padding, 0), '0');
  return std::copy(first, end, at);
}

}  // namespace

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

bool IsExact(long long whole) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  const auto nearest = static_cast<double>(whole);
  return nearest < kTwoTo63 && static_cast<long long>(nearest) == whole;
}

std::optional<long long> WholeBeyondDouble(std::string_view text) {
  constexpr std::size_t kFewestDigits = 16;
  if (text.size() < kFewestDigits) return std::nullopt;
  long long whole = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return IsExact(whole) ? std::nullopt : std::optional(whole);
}

namespace {

constexpr double PowerOfTen(int power) {
  double value = 1;
  for (int i = 0; i < power; ++i) value *= 10;
  return value;
}

// The six digits of `value`, in 0.0001 to 999999, as a whole number, and the power of ten of the
// first one; 0 when it takes more than a double to decide how the last one is rounded.
unsigned SixDigits(double value, int& power) {
  constexpr std::array<double, 10> kBounds = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5};
  constexpr std::array<double, 10> kScales = {
      PowerOfTen(9), PowerOfTen(8), PowerOfTen(7), PowerOfTen(6), PowerOfTen(5),
      PowerOfTen(4), PowerOfTen(3), PowerOfTen(2), PowerOfTen(1), PowerOfTen(0)};
  constexpr unsigned kBeyond = 1'000'000;
  std::size_t decade = 9;
  while (value < kBounds[decade]) --decade;
  power = static_cast<int>(decade) - 4;
  const double scaled = value * kScales[decade];
  const auto whole = static_cast<unsigned>(scaled);
  const double rest = scaled - whole;
  // The product may be off by less than this.
  if (std::fabs(rest - 0.5) < 1e-9) return 0;
  const unsigned digits = whole + (rest > 0.5 ? 1 : 0);
  if (digits < kBeyond) return digits;
  ++power;
  return digits / 10;
}

constexpr std::array<std::array<char, 2>, 100> TwoDigits() {
  std::array<std::array<char, 2>, 100> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i)
    pairs[i] = {static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)};
  return pairs;
}
// Of each number below a hundred.
constexpr auto kPairs = TwoDigits();

// The digits, those behind the point without closing zeros, point and leading zeros as `power`
// asks. What is copied has a fixed size, some of it beyond the end: that needs no call.
char* PutDigits(unsigned digits, int power, char* to) {
  constexpr std::string_view kZeros = "0.000";
  const int whole = power + 1;
  if (whole <= 0) {
    std::memcpy(to, kZeros.data(), kZeros.size());
    to += 2 - whole;
  }
  std::memcpy(to, kPairs[digits / 10'000].data(), 2);
  std::memcpy(to + 2, kPairs[digits / 100 % 100].data(), 2);
  std::memcpy(to + 4, kPairs[digits % 100].data(), 2);
  int length = kGeneralDigits;
  while (length > whole && to[length - 1] == '0') --length;
  if (whole <= 0 || length == whole) return to + length;
  std::memmove(to + whole + 1, to + whole, kGeneralDigits);
  to[whole] = '.';
  return to + length + 1;
}

}  // namespace

char* FormatGeneral(double value, FloatText& buffer, std::size_t at, int digits) {
  char* to = buffer.data() + at;
  const double size = std::fabs(value);
  int power = 0;
  const bool is_quick = digits == kGeneralDigits && size >= 1e-4 && size < 999'999;
  const unsigned six = is_quick ? SixDigits(size, power) : 0;
  if (six == 0) {
    to = std::to_chars(to, buffer.data() + buffer.size() - 1, value, std::chars_format::general,
                       digits)
             .ptr;
  } else {
    if (value < 0) *to++ = '-';
    to = PutDigits(six, power, to);
  }
  *to = '\0';
  return to;
}

namespace {

template <typename Number>
std::string_view Shortest(Number value, FloatText& buffer) {
  char* end = PutShortest(value, buffer.data());
  *end = '\0';
  return {buffer.data(), end};
}

}  // namespace

char* PutShortest(long long value, char* to) {
  return std::to_chars(to, to + kNumberRoom, value).ptr;
}

std::string_view FormatFloat(float value, FloatText& buffer) { return Shortest(value, buffer); }
std::string_view FormatDouble(double value, FloatText& buffer) { return Shortest(value, buffer); }
std::string_view FormatWhole(long long value, FloatText& buffer) { return Shortest(value, buffer); }

const char* FormatTimeStamp(const std::array<int, 6>& numbers, int first_width, char between,
                            TimeStampText& buffer) {
  const std::array<char, 6> ends{'-', '-', between, ':', ':', '\0'};
  char* at = buffer.data();
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    at = WritePadded(at, i == 0 ? first_width : 2, numbers[i]);
    *at++ = ends[i];
  }
  return buffer.data();
}

}  // namespace nvimport
