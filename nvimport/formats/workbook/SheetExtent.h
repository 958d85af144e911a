#pragma once

#include <algorithm>

#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

// Finds the extent of the cells that come.
class SheetExtent final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char*) override { Extend(column, row); }
  void Set(int column, int row, float) override { Extend(column, row); }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  void Extend(int column, int row) {
    columns_ = std::max(columns_, column);
    rows_ = std::max(rows_, row);
  }

 private:
  int columns_ = 0;
  int rows_ = 0;
};

}  // namespace nvimport
