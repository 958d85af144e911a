#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Numbers as texts, whatever the locale.

// The number that `text` is, all of it: a decimal number with optional sign, point and exponent,
// blanks around it allowed. With decimal mark ',' the point is no part of a number. None for
// anything else, "inf", "nan" and hexadecimal included, and for what a double can't hold.
NVIMPORT_API std::optional<double> ParseNumber(std::string_view text, char decimal_mark = '.');

// Whether a double holds the whole number.
NVIMPORT_API bool IsExact(long long whole);

// The whole number that `text` is, if it is one that no double holds.
NVIMPORT_API std::optional<long long> WholeBeyondDouble(std::string_view text);

// Room for the text of any number, and for what is written beyond its end to save time.
inline constexpr std::size_t kNumberRoom = 48;
// So much of it.
using FloatText = std::array<char, kNumberRoom>;

// Writes the shortest text that reads back to the same number of its type, digit for digit what
// std::to_chars writes, into kNumberRoom bytes, and returns its end.
NVIMPORT_API char* PutShortest(float value, char* to);
// The same of a double.
NVIMPORT_API char* PutShortest(double value, char* to);
// The same of a whole number.
NVIMPORT_API char* PutShortest(long long value, char* to);

// The same, NUL-terminated in `buffer`.
NVIMPORT_API std::string_view FormatFloat(float value, FloatText& buffer);
// The same of a double.
NVIMPORT_API std::string_view FormatDouble(double value, FloatText& buffer);
// The same of a whole number.
NVIMPORT_API std::string_view FormatWhole(long long value, FloatText& buffer);

// The digits of C's "%g".
inline constexpr int kGeneralDigits = 6;

// Writes `value` as C's "%g" does, digit for digit, with its NUL, and returns the end; with more
// digits than that has, at most 17, as "%.*g" does.
NVIMPORT_API char* FormatGeneral(double value, FloatText& buffer, std::size_t at = 0,
                                 int digits = kGeneralDigits);

// Room for any time stamp.
using TimeStampText = std::array<char, 80>;

// Six numbers, each with at least two digits, the first with `first_width`, as
// "2024-05-06 07:08:09" with `between` in place of the blank; NUL-terminated in `buffer`.
NVIMPORT_API const char* FormatTimeStamp(const std::array<int, 6>& numbers, int first_width,
                                         char between, TimeStampText& buffer);

}  // namespace nvimport
