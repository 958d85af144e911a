#pragma once

#include <climits>
#include <string_view>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

// Sets the names of points, and where one is wanted a row of their x values.
class PointNames {
 public:
  // A name is `letter` and the x value with so many digits. Rows below 1 are none.
  PointNames(ReadSpreadSheetData& sink, std::string_view letter, RangeChoice named_columns = {},
             int row = 1, int x_row = 0, int digits = kGeneralDigits)
      : sink_(sink),
        length_(letter.size()),
        columns_(named_columns),
        row_(row),
        x_row_(x_row),
        digits_(digits) {
    if (row < 1) columns_.first = INT_MAX;
    letter.copy(text_.data(), text_.size());
  }

  void Put(int column, double x) {
    if (columns_.Holds(column)) {
      FormatGeneral(x, text_, length_, digits_);
      sink_.Set(column, row_, text_.data());
    }
    if (x_row_ > 0 && sink_.TakesExact())
      sink_.SetExact(column, x_row_, x);
    else if (x_row_ > 0)
      sink_.Set(column, x_row_, static_cast<float>(x));
  }

 private:
  ReadSpreadSheetData& sink_;
  std::size_t length_;
  RangeChoice columns_;
  int row_;
  int x_row_;
  int digits_;
  FloatText text_{};
};

}  // namespace nvimport
