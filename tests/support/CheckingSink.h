#pragma once

#include "framework/SpreadsheetData.h"
#include "tests/fuzz/Fuzz.h"

// A sink for damaged files: every cell must lie within the announced size.
class CheckingSink : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    CheckPlace(column, row);
    Check(text != nullptr, "a text is there");
  }
  void Set(int column, int row, float) override { CheckPlace(column, row); }
  void SetDataSize(int columns, int rows) override {
    Check(columns_ < 0, "the size is announced once");
    columns_ = columns;
    rows_ = rows;
  }
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

 private:
  void CheckPlace(int column, int row) const {
    Check(column >= 1 && column <= columns_ && row >= 1 && row <= rows_,
          "the cell lies within the size");
  }

  int columns_ = -1;
  int rows_ = -1;
};
