#pragma once

#include <cstring>
#include <string>

#include "nvimport/formats/spectra/JCAMPValues.h"

namespace nvimport {

// The rules of JCAMP-DX ordinates said as plainly as possible: takes the next value, and what
// separates it from others, from the front of a line. Its arithmetic rounds at every digit.
inline int ReferenceNextValue(std::string& line, JCAMPValueForm form, JCAMPValue& value) {
  const auto skip = [&] { line.erase(0, line.find_first_not_of(" \t\v\f")); };
  const auto next = [&] { return line.empty() ? '\0' : line[0]; };
  const auto is_digit = [&](std::size_t at) {
    return at < line.size() && line[at] >= '0' && line[at] <= '9';
  };
  const auto place = [](const char* letters, char c) {
    const char* at = c != '\0' ? std::strchr(letters, c) : nullptr;
    return at != nullptr ? static_cast<int>(at - letters) : -1;
  };
  const auto finish = [&] {
    skip();
    if (next() == ',' || next() == ';') line.erase(0, 1);
    return 0;
  };
  constexpr const char* kForms[] = {"@ABCDEFGHI", "?abcdefghi", "%JKLMNOPQR", "?jklmnopqr"};
  value = {};
  skip();
  if (line.empty()) return value.count = 0;
  const char first = next();
  if (form.plain_only && place("0123456789.,Ee+-?", first) < 0) return 1562;
  bool negative = false;
  bool difference = false;
  if (first == '?' || first == ',') {
    value.missing = true;
    line.erase(0, 1);
    return finish();
  }
  if (first == '+' || first == '-') {
    negative = first == '-';
    line.erase(0, 1);
    if (!is_digit(0) && next() != '.' && next() != ',') return 1561;
  } else if (!is_digit(0) && first != '.') {
    int kind = 0;
    while (kind < 4 && place(kForms[kind], first) < 0) ++kind;
    if (kind == 4) return 1561;
    value.value = place(kForms[kind], first);
    negative = kind % 2 == 1;
    difference = kind >= 2;
    line.erase(0, 1);
  }
  for (; is_digit(0); line.erase(0, 1)) value.value = value.value * 10 + (next() - '0');
  if (next() == '.' || (next() == ',' && !form.comma_separates)) {
    line.erase(0, 1);
    double worth = 1;
    for (; is_digit(0); line.erase(0, 1)) value.value += (next() - '0') * (worth /= 10);
  }
  if (const int dup = place("?STUVWXYZs", next()); dup > 0) {
    double count = dup;
    line.erase(0, 1);
    for (; is_digit(0); line.erase(0, 1)) count = count * 10 + (next() - '0');
    if (place("?STUVWXYZs", next()) > 0) return 1563;
    value.count = count < 1e8 ? static_cast<int>(count) : 100'000'000;
  } else if ((next() == 'E' || next() == 'e') && line.size() > 2 &&
             (line[1] == '+' || line[1] == '-') && is_digit(2)) {
    const double step = line[1] == '-' ? 0.1 : 10;
    line.erase(0, 2);
    int exponent = 0;
    for (; is_digit(0); line.erase(0, 1))
      exponent = exponent < 1000 ? exponent * 10 + (next() - '0') : exponent;
    for (; exponent > 0; --exponent) value.value *= step;
  }
  if (negative) value.value = -value.value;
  if (difference) value.count = -value.count;
  return finish();
}

}  // namespace nvimport
