#pragma once

#include <cpp11/R.hpp>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Column.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/calls/Calls.h"

namespace nvimport {

// Takes a sheet by columns, for a data frame. Its first row, and a second one of x values, stay
// apart until it is known whether they name the columns.
class FrameSheet final : public CallSheet {
 public:
  explicit FrameSheet(const ColumnTyping& typing) : typing_(typing) {}

  // Comes before the first cell.
  void Begin(bool has_x_row) { head_rows_ = has_x_row ? 2 : 1; }

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override {
    if (row <= head_rows_) return head_.Set(column, row, value);
    if (Column* const to = At(column)) to->SetNumber(row - head_rows_ - 1, value, true);
    has_numbers_ = has_numbers_ || row <= kLookedAt;
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (row <= head_rows_) return head_.SetExact(column, row, value);
    if (Column* const to = At(column)) to->SetNumber(row - head_rows_ - 1, value, false);
    has_numbers_ = has_numbers_ || row <= kLookedAt;
  }
  void SetExact(int column, int row, long long value) override;

  // Whether the first row has words alone, and some of those that follow a number.
  bool BeginsWithNames() const;
  bool HasAxis() const;
  // How many cells stand below the first rows.
  std::uint64_t CountCells() const;

  // Where a text holds a NUL, from 1.
  struct Nul {
    R_xlen_t row = 0;
    int column = 0;
  };
  // Fills a list of vectors and their names, in which those without one are missing.
  Nul Finish(bool has_names, SEXP columns, SEXP names);
  R_xlen_t RowsOf(bool has_names) const {
    const int rows = const_cast<FrameSheet*>(this)->GetNumberOfRows();
    return has_names ? (rows > head_rows_ ? rows - head_rows_ : 0) : rows;
  }

 private:
  static constexpr int kLookedAt = 100;  // rows

  Column* At(int column) {
    if (column < 1) return nullptr;
    const auto at = static_cast<std::size_t>(column - 1);
    if (at >= columns_.size()) columns_.resize(at + 1);
    if (!columns_[at]) columns_[at] = std::make_unique<Column>();
    return columns_[at].get();
  }
  std::vector<MemoryCell> Head() const;

  const ColumnTyping& typing_;
  int head_rows_ = 1;
  MemorySheet head_;
  bool has_numbers_ = false;  // among the rows that are looked at
  std::vector<std::unique_ptr<Column>> columns_;
};

}  // namespace nvimport
