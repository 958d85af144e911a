#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace nvimport {

// Year, month, day, hour, minute and second, in the platform's time zone, of the time so many
// seconds after 1970 began in UTC. None for a time that the platform can't convert.
std::optional<std::array<int, 6>> LocalTime(std::int64_t seconds);

}  // namespace nvimport
