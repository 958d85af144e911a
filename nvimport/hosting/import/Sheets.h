#pragma once

#include <algorithm>

#include "nvimport/framework/MemorySheet.h"

namespace nvimport {

// A sheet that is only read into. What it does with cells is up to those derived from it.
class ReadOnlySheet : public SpreadsheetData {
 public:
  void SetDataSize(int columns, int rows) override {
    columns_ = columns;
    rows_ = rows;
  }
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  float GetNumber(int, int) override { return 0; }
  const char* GetText(int, int) override { return ""; }
  bool CellFlag(int, int) override { return false; }
  bool IsNumber(int, int) override { return false; }
  bool IsMissing(int, int) override { return false; }
  bool IsText(int, int) override { return false; }

 private:
  int columns_ = 0;
  int rows_ = 0;
};

// Keeps nothing.
class NoSheet final : public ReadOnlySheet {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int, int, const char*) override {}
  void Set(int, int, float) override {}
};

// Keeps the upper left corner of a sheet and wants no rows below it.
class HeadSheet final : public ReadOnlySheet {
 public:
  HeadSheet(int columns, int rows) : most_columns_(columns), most_rows_(rows) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    if (column <= most_columns_ && row <= most_rows_) head_.Set(column, row, text);
  }
  void Set(int column, int row, float value) override {
    if (column <= most_columns_ && row <= most_rows_) head_.Set(column, row, value);
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (column <= most_columns_ && row <= most_rows_) head_.SetExact(column, row, value);
  }
  void SetExact(int column, int row, long long value) override {
    if (column <= most_columns_ && row <= most_rows_) head_.SetExact(column, row, value);
  }
  int GetNextIndex(int previous) override { return previous < most_rows_ ? previous + 1 : -1; }
  void SetDataSize(int columns, int rows) override {
    ReadOnlySheet::SetDataSize(columns, rows);
    head_.SetDataSize(std::min(columns, most_columns_), std::min(rows, most_rows_));
  }

  const MemorySheet& head() const { return head_; }
  MemorySheet& head() { return head_; }
  int head_columns() { return head_.GetNumberOfColumns(); }
  int head_rows() { return head_.GetNumberOfRows(); }

 private:
  int most_columns_;
  int most_rows_;
  MemorySheet head_;
};

}  // namespace nvimport
