#pragma once

#include <array>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Room for the text of any date.
using DateText = std::array<char, 32>;

// A spreadsheet's date, the days since the end of 1899 (with a 29 February 1900, as spreadsheets
// have it) or since the beginning of 1904, in ISO form, NUL-terminated in `buffer`: "2023-03-15",
// "2023-03-15 12:00:00" with a time of day, "12:00:00" below one day, to the nearest second. What
// is no date before the year 10000 stays a number.
NVIMPORT_API std::string_view IEEEDate_2_string(double serial, bool since_1904, DateText& buffer);

}  // namespace nvimport
