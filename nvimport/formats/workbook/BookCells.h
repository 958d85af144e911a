#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "nvimport/formats/workbook/SheetBook.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

// Hands the cells of a worksheet to wherever it is wanted, and finds their extent. Rows and columns
// count from 0. A value may stand in many cells by its file's claim: those are paid for, as if
// they stood in the file.
class BookCells {
 public:
  static constexpr std::uint32_t kColumns = 16'384;
  static constexpr std::uint32_t kRows = 1'048'576;

  // Of one value.
  struct Range {
    std::uint32_t column = 0;
    std::uint32_t row = 0;
    std::uint32_t columns = 1;
    std::uint32_t rows = 1;
  };

  explicit BookCells(Budget& budget) : budget_(&budget) {}

  // The worksheet is wanted there. Without targets only its extent is found.
  void Begin(std::span<const SheetBook::Target> targets) { targets_ = targets; }
  bool is_wanted() const { return !targets_.empty(); }

  // Takes the cells of a value, of a text with its length. False when there is no such place, or
  // more of them than the file is worth.
  bool Take(const Range& range, std::size_t length = 0) {
    constexpr std::uint64_t kWorth = 16;  // bytes of a file
    if (range.column >= kColumns || range.columns > kColumns - range.column || range.row >= kRows ||
        range.rows > kRows - range.row)
      return false;
    const std::uint64_t copies = std::uint64_t{range.columns} * range.rows - 1;
    if (copies > 0 && !budget_->Work(copies * (kWorth + std::min<std::uint64_t>(length, kLongest))))
      return false;
    range_ = range;
    extent_.columns = std::max(extent_.columns, range.column + range.columns);
    extent_.rows = std::max(extent_.rows, range.row + range.rows);
    return true;
  }

  // The value of the cells taken.
  void SetText(const char* text) {
    ForEach([&](auto& sink, int column, int row) { sink.Set(column, row, text); });
  }
  void SetBoolean(bool value) {
    ForEach([&](auto& sink, int column, int row) { sink.Set(column, row, value ? 1 : 0); });
  }
  // A number whose text this is, all of it.
  void SetNumber(double value, std::string_view text) {
    const auto whole = WholeBeyondDouble(text);
    ForEach([&](auto& sink, int column, int row) {
      if (!sink.TakesExact())
        sink.Set(column, row, value);
      else if (whole)
        sink.SetExact(column, row, *whole);
      else
        sink.SetExact(column, row, value);
    });
  }
  void SetError() {
    ++errors_;
    SetText("");
  }
  // A date in ISO 8601, with or without a time of day.
  void SetDate(std::string_view text);
  // A time in ISO 8601, "PT36H00M00S".
  void SetDuration(const char* text);

  const SheetBook::Extent& extent() const { return extent_; }
  // Cells that became empty texts.
  std::uint64_t errors() const { return errors_; }

 private:
  static constexpr std::uint64_t kLongest = std::uint64_t{1} << 28;

  template <typename Set>
  void ForEach(Set set) {
    for (const SheetBook::Target& target : targets_)
      for (std::uint32_t row = range_.row; row < range_.row + range_.rows; ++row)
        for (std::uint32_t column = range_.column; column < range_.column + range_.columns;
             ++column)
          set(*target.sink, static_cast<int>(column) + 1 + target.columns,
              static_cast<int>(row) + 1 + target.rows);
  }

  Budget* budget_;
  std::span<const SheetBook::Target> targets_;
  Range range_;
  SheetBook::Extent extent_;
  std::uint64_t errors_ = 0;
};

}  // namespace nvimport
