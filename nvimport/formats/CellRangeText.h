#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

namespace nvimport {

// The name of a worksheet's column, which counts from 0: "A" to "Z", "AA" and on.
inline std::string ColumnName(std::uint64_t column) {
  std::string name;
  for (++column; column > 0; column = (column - 1) / 26)
    name += static_cast<char>('A' + (column - 1) % 26);
  std::ranges::reverse(name);
  return name;
}

// A range as spreadsheets write it, "B2:D20" or of one cell "B2", of columns and rows that count
// from 0.
inline std::string CellRangeText(std::uint64_t first_column, std::uint64_t first_row,
                                 std::uint64_t last_column, std::uint64_t last_row) {
  const std::string first = ColumnName(first_column) + std::to_string(first_row + 1);
  const std::string last = ColumnName(last_column) + std::to_string(last_row + 1);
  return first == last ? first : first + ":" + last;
}

}  // namespace nvimport
