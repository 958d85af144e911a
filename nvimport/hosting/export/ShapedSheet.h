#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/framework/Description.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Numbers from 1 in ranges, "2", "1,3-5", "7-" to the end, in the order in which they are wanted.
class NVIMPORT_API NumberRanges {
 public:
  // All numbers.
  NumberRanges() = default;
  // None for a text that is no list of ranges.
  static std::optional<NumberRanges> Parse(std::string_view text);

  // Which of those wanted the number is, from 1; 0 for none of them.
  int PositionOf(int number) const;
  // How many are wanted of so many.
  int CountOf(int count) const;
  // Where a range begins that has none of so many, 0 for no such range.
  int FirstBeyond(int count) const;
  bool are_all() const { return ranges_.empty(); }
  // Each range begins behind the one before it.
  bool are_rising() const;

  // Takes each number once, where it comes first, and none behind the last of `count` that would
  // keep room for itself before others.
  void FitTo(int count);

  // To come behind those that are wanted.
  void Add(int number) { ranges_.emplace_back(number, number); }
  void Add(const NumberRanges& others) {
    ranges_.insert(ranges_.end(), others.ranges_.begin(), others.ranges_.end());
  }

 private:
  std::vector<std::pair<int, int>> ranges_;  // the first and the last
};

// What of a sheet is wanted, and how it is to lie.
struct SheetShape {
  NumberRanges columns{};
  NumberRanges rows{};           // counted behind those skipped
  int skipped_rows = 0;          // first ones
  bool is_transposed = false;    // columns are to become rows
  bool is_long = false;          // a row of name, x and y for each value
  bool has_exact_names = false;  // columns of spectra are named by all digits of their x values

  // What comes in order stays in order, and where each cell goes hangs on no size.
  bool KeepsOrder() const { return columns.are_rising() && rows.are_rising() && !is_transposed; }

  bool IsWhole() const {
    return columns.are_all() && rows.are_all() && skipped_rows == 0 && !is_transposed && !is_long &&
           !has_exact_names;
  }
};

// Gives another sheet the cells that are wanted of the one that is read, where they are to lie.
class NVIMPORT_API ShapedSheet final : public ReadOnlySheet {
 public:
  // The target must outlive it.
  ShapedSheet(const SheetShape& shape, SpreadsheetData& target) : shape_(shape), target_(&target) {}

  // Another target, before Begin.
  void SetTarget(SpreadsheetData& target) { target_ = &target; }

  // Comes before the first cell: how many columns the sheet will have, and its x values if the
  // shape needs them. Returns how many the target will have.
  int Begin(int columns, int rows, const Description& description);

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override;
  bool TakesExact() override { return target_->TakesExact(); }
  void SetExact(int column, int row, double value) override;
  void SetExact(int column, int row, long long value) override;
  int GetNextIndex(int previous) override { return target_->GetNextIndex(previous); }
  void SetDataSize(int columns, int rows) override;

 private:
  // Has `set` called with the place of the cell in the target, if it has one there. `text` gives
  // what the cell shows.
  template <typename Put, typename Text>
  void Give(int column, int row, const Put& put, const Text& text);
  template <typename Put, typename Text>
  void GiveLong(int column, int row, const Put& put, const Text& text);
  std::optional<double> XOf(int column) const;

  SheetShape shape_;
  SpreadsheetData* target_;
  int first_x_column_ = 1;
  std::vector<double> x_;
  // Of the long form.
  int first_value_column_ = 2;
  int long_row_ = 1;
  std::string label_;
  int label_row_ = 0;
  std::vector<std::string> names_;  // of columns without x values, from the first value column on
};

}  // namespace nvimport
