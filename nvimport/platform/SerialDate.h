#pragma once

#include <array>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Room for the text of any date.
using DateText = std::array<char, 32>;

// What a number format shows: a number, days, only a time of day, a time that does not end with a
// day.
enum class DateForm : unsigned char { kNone, kDays, kTime, kElapsed };

// A spreadsheet's date, the days since the end of 1899 (with a 29 February 1900, as spreadsheets
// have it) or since the beginning of 1904, in ISO form, NUL-terminated in `buffer`: "2023-03-15",
// "2023-03-15 12:00:00" with a time of day, "12:00:00" below one day, but for a day of its own in
// 1904, "36:00:00" where time elapsed, "12:00:00.250" to the nearest millisecond. What is no date
// before the year 10000 stays a number.
NVIMPORT_API std::string_view IEEEDate_2_string(double serial, bool since_1904, DateText& buffer,
                                                DateForm form = DateForm::kTime);

// The days since the end of 1899 that a date in ISO 8601 is, with or without a time of day, or a
// time alone; NaN for anything else.
NVIMPORT_API double SerialOfIsoDate(std::string_view text);

}  // namespace nvimport
