#pragma once

#include <string>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"

namespace nvimport {

// A cell as a table shows it.
struct TableCell {
  std::string text;  // UTF-8 without control characters
  bool right = false;
  bool missing = false;
};

using TableRow = std::vector<TableCell>;

TableCell ShownCell(const MemoryCell& cell, const TextDecoder& decoder);
TableCell ShownText(std::string_view utf8);

struct TableLimits {
  std::size_t width = 0;  // columns that don't fit are left out; 0 for no limit
  bool colour = false;
};

struct FormattedTable {
  std::string text;
  std::size_t columns = 0;  // those that had room
};

// Aligned columns under their numbers, rows behind theirs.
FormattedTable FormatTable(const std::vector<TableRow>& rows, const TableLimits& limits);

}  // namespace nvimport
