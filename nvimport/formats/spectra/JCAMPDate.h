#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "nvimport/platform/COleDateTime.h"

namespace nvimport {

// The date, and the time of day if there is one, that a DATE label says: year/month/day (the older
// form) or month/day/year, each of two digits, with a year before 70 after 2000; day/month/year or
// year/month/day with four digits for the year; 30 Aug 2007; ISO 8601.
std::optional<COleDateTime> ParseJCAMPDate(std::string_view text);

// The same as ISO 8601, with the time of day and the zone only where the text has them; empty where
// day and month could change places, and for what is no date.
std::string IsoJCAMPDate(std::string_view text);

}  // namespace nvimport
