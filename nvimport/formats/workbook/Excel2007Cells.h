#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/SheetBook.h"
#include "nvimport/formats/workbook/SpooledStrings.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

// What a cell's style and content refer to.
struct CellContext {
  explicit CellContext(Budget& budget) : strings(budget) {}

  bool since_1904 = false;
  bool is_without_styles = false;  // though the workbook names their part
  // By number: what the cells of the style show, none where the style's format is not there.
  std::vector<std::optional<DateForm>> styles;
  SpooledStrings strings;
};

// Hands the cells of a worksheet, as they stand in its part, to a sink. Rows and columns count
// from 0.
class Excel2007Cells {
 public:
  static constexpr std::uint32_t kColumns = 16'384;
  static constexpr std::uint32_t kRows = 1'048'576;

  // Moved as the target says.
  Excel2007Cells(CellContext& context, const SheetBook::Target& target)
      : context_(context), target_(target) {}
  // Only finds the extent, of so many rows.
  explicit Excel2007Cells(CellContext& context, std::uint32_t most_rows = kRows)
      : context_(context), target_{nullptr}, most_rows_(most_rows) {}

  // Where the next cell stands. False when there is no such place, or it is not wanted.
  bool GoTo(std::uint32_t column, std::uint32_t row) {
    if (row != row_ && row < kRows && !IsWanted(row)) has_enough_ = true;
    column_ = column;
    row_ = row;
    return column < kColumns && row < kRows && !has_enough_;
  }
  // No more rows were wanted.
  bool has_enough() const { return has_enough_; }

  // Takes the place's cell. True when its value is not wanted, only that it is there.
  bool TakesExtentOnly() {
    extent_.columns = std::max(extent_.columns, column_ + 1);
    extent_.rows = std::max(extent_.rows, row_ + 1);
    ++count_;
    return target_.sink == nullptr;
  }

  void SetNumber(std::uint32_t style, double value);
  // The same of a whole number that no double holds.
  void SetWhole(std::uint32_t style, long long whole);
  void SetText(const char* text);
  // It waits, and what comes behind it: shared texts lie anywhere in memory, which is asked for
  // some of them together.
  void SetShared(std::uint32_t index);
  // After the last cell.
  void SetWaiting() {
    if (waiting_count_ > 0) SetAllWaiting();
  }
  void SetBoolean(bool value) { Sink().Set(column(), row(), value ? 1 : 0); }
  void SetError();
  // A date in ISO 8601.
  void SetIsoDate(const std::string& text);

  // Cells that came otherwise than they were meant.
  struct Changed {
    std::uint64_t errors = 0;
    std::uint64_t lost_texts = 0;   // whose shared string there is not
    std::uint64_t lost_styles = 0;  // numbers that might be dates
  };

  // Of the cells so far: their extent, and how many there are.
  const SheetBook::Extent& extent() const { return extent_; }
  std::uint64_t count() const { return count_; }
  const Changed& changed() const { return changed_; }

 private:
  bool IsWanted(std::uint32_t row) {
    return row < most_rows_ && (!target_.asks_rows || Sink().GetNextIndex(this->row()) >= 0);
  }
  // Sets a cell that is no plain number as it is shown. False of one that is.
  bool SetDate(std::uint32_t style, double value);
  struct Waiting {
    int column;
    int row;
    bool is_text;
    std::uint32_t text;
    double number;
  };

  void Wait(const Waiting& cell) {
    waiting_[waiting_count_++] = cell;
    if (waiting_count_ == waiting_.size()) SetAllWaiting();
  }
  template <typename Number>
  void Set(int column, int row, Number value);
  ReadSpreadSheetData& Sink() {
    SetWaiting();
    return *target_.sink;
  }
  void SetAllWaiting();
  int column() const { return static_cast<int>(column_) + 1 + target_.columns; }
  int row() const { return static_cast<int>(row_) + 1 + target_.rows; }

  CellContext& context_;
  SheetBook::Target target_;
  std::uint32_t most_rows_ = kRows;
  bool takes_exact_ = target_.sink != nullptr && target_.sink->TakesExact();
  std::uint32_t column_ = 0;
  std::uint32_t row_ = 0;
  SheetBook::Extent extent_;
  std::uint64_t count_ = 0;
  bool has_enough_ = false;
  Changed changed_;
  std::array<Waiting, 128> waiting_;
  std::size_t waiting_count_ = 0;
};

}  // namespace nvimport
