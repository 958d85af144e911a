#include "nvimport/formats/workbook/BookCells.h"

#include <charconv>
#include <limits>
#include <string>

#include "nvimport/platform/SerialDate.h"

namespace nvimport {

namespace {

// The days that "P1DT12H30M15.5S" is, NaN for anything else.
double DaysOfDuration(std::string_view text) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  if (!text.starts_with('P')) return kNone;
  text.remove_prefix(1);
  double seconds = 0;
  bool is_time = false;
  bool is_some = false;
  while (!text.empty()) {
    if (text.starts_with('T') && !is_time) {
      is_time = true;
      text.remove_prefix(1);
      continue;
    }
    double number = 0;
    const auto result =
        std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr == text.data() + text.size() || !(number >= 0))
      return kNone;
    const double unit = *result.ptr == 'D' && !is_time  ? 86'400
                        : *result.ptr == 'H' && is_time ? 3'600
                        : *result.ptr == 'M' && is_time ? 60
                        : *result.ptr == 'S' && is_time ? 1
                                                        : kNone;
    seconds += number * unit;
    is_some = true;
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()) + 1);
  }
  return is_some ? seconds / 86'400 : kNone;
}

}  // namespace

// What no serial date is, before 1900, stays as it stands.
void BookCells::SetDate(std::string_view text) {
  const double serial = SerialOfIsoDate(text);
  if (serial >= 0) {
    DateText date;
    IEEEDate_2_string(serial, /*since_1904=*/false, date);
    return SetText(date.data());
  }
  std::string plain(text);
  constexpr std::string_view kMidnight = "T00:00:00";
  if (plain.ends_with(kMidnight)) plain.resize(plain.size() - kMidnight.size());
  std::ranges::replace(plain, 'T', ' ');
  SetText(plain.c_str());
}

void BookCells::SetDuration(const char* text) {
  const bool is_negative = *text == '-';
  const double days = DaysOfDuration(text + (is_negative ? 1 : 0));
  if (!(days >= 0)) return SetText(text);
  DateText time;
  IEEEDate_2_string(days, /*since_1904=*/false, time, DateForm::kElapsed);
  SetText(((is_negative ? "-" : "") + std::string(time.data())).c_str());
}

}  // namespace nvimport
