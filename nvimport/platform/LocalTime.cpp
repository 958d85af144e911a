#include "nvimport/platform/LocalTime.h"

#include <ctime>

#include "nvimport/platform/System.h"

namespace nvimport {

std::optional<std::array<int, 6>> LocalTime(std::int64_t seconds) {
  const std::time_t time{seconds};
  std::tm local{};
  if (!PlaceTime(time, local)) return std::nullopt;
  return std::array{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                    local.tm_hour,        local.tm_min,     local.tm_sec};
}

}  // namespace nvimport
