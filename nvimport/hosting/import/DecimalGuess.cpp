#include "nvimport/hosting/import/DecimalGuess.h"

#include <algorithm>

#include "nvimport/framework/MemorySheet.h"

namespace nvimport {

char GuessDecimalMark(MemorySheet& sheet) {
  constexpr int kMost = 100;
  DecimalGuess guess;
  const int rows = std::min(sheet.GetNumberOfRows(), kMost);
  const int columns = std::min(sheet.GetNumberOfColumns(), kMost);
  for (int row = 1; row <= rows; ++row)
    for (int column = 1; column <= columns; ++column)
      if (const MemoryCell cell = sheet.GetCell(column, row); cell.kind == CellKind::kText)
        guess.Take(cell.text);
  return guess.mark();
}

}  // namespace nvimport
