#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

// The strings that a workbook's cells share, each with its NUL.
class SharedStrings {
 public:
  void Add(std::string_view text);

  // The string, empty where there is none.
  const char* At(std::uint32_t index) const { return index < texts_.size() ? texts_[index] : ""; }

 private:
  static constexpr std::size_t kChunk = std::size_t{256} << 10;

  std::deque<const char*> texts_;
  std::vector<std::unique_ptr<char[]>> chunks_;
  char* free_ = nullptr;
  std::size_t room_ = 0;
};

// What a cell's style and content refer to.
struct CellContext {
  bool since_1904 = false;
  std::vector<DateForm> date_styles;  // by number, what the cells of that style show
  SharedStrings strings;
};

// Hands the cells of a worksheet, as they stand in its part, to a sink. Rows and columns count
// from 0.
class Excel2007Cells {
 public:
  static constexpr std::uint32_t kColumns = 16'384;
  static constexpr std::uint32_t kRows = 1'048'576;

  // Moved as the target says.
  Excel2007Cells(const CellContext& context, const Excel2007Book::Target& target)
      : context_(context), target_(target) {}
  // Only finds the extent.
  explicit Excel2007Cells(const CellContext& context) : context_(context), target_{nullptr} {}

  // Where the next cell stands. False when there is no such place.
  bool GoTo(std::uint32_t column, std::uint32_t row) {
    column_ = column;
    row_ = row;
    return column < kColumns && row < kRows;
  }

  // Takes the place's cell. True when its value is not wanted, only that it is there.
  bool TakesExtentOnly();

  void SetNumber(std::uint32_t style, double value);
  void SetText(const char* text);
  void SetShared(std::uint32_t index) { SetText(context_.strings.At(index)); }
  void SetBoolean(bool value) { Sink().Set(column(), row(), value ? 1 : 0); }
  void SetError();
  // A date in ISO 8601.
  void SetIsoDate(const std::string& text);

  // The extent of the cells so far.
  std::uint32_t columns() const { return columns_; }
  std::uint32_t rows() const { return rows_; }
  std::uint64_t errors() const { return errors_; }

 private:
  ReadSpreadSheetData& Sink() { return *target_.sink; }
  int column() const { return static_cast<int>(column_) + 1 + target_.columns; }
  int row() const { return static_cast<int>(row_) + 1 + target_.rows; }

  const CellContext& context_;
  Excel2007Book::Target target_;
  std::uint32_t column_ = 0;
  std::uint32_t row_ = 0;
  std::uint32_t columns_ = 0;
  std::uint32_t rows_ = 0;
  std::uint64_t errors_ = 0;
};

// The days since the end of 1899 that a date in ISO 8601 is, with or without a time of day, or a
// time alone; NaN for anything else.
double SerialOfIsoDate(std::string_view text);

}  // namespace nvimport
