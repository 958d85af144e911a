#pragma once

#include <optional>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// How the numbers in texts are written.
struct NumberMarks {
  char decimal = '.';
  char thousands =
      '\0';  // between groups of three digits; NUL for none, ' ' for blanks of any kind

  bool operator==(const NumberMarks&) const = default;
};

// The number that `text` is so; see the other ParseNumber. Groups are whole, or it is none.
NVIMPORT_API std::optional<double> ParseNumber(std::string_view text, NumberMarks marks);

}  // namespace nvimport
