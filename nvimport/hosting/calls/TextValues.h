#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What the text of a cell counts as where columns have types.

inline std::string_view WithoutBlanks(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

// The number that a text without blanks around it is, as a cell: whole as such, and none that would
// lose a digit of a whole one. Codes of leading zeros ("007") are none.
NVIMPORT_API std::optional<MemoryCell> NumberOf(std::string_view text, char decimal_mark);

// The nanoseconds since 1970 of "2024-05-06", "2024-05-06 07:08", with seconds and their fraction
// if any, or with a T in the place of the blank.
NVIMPORT_API std::optional<std::int64_t> ParseTime(std::string_view text);

}  // namespace nvimport
