#pragma once

#include <string>
#include <vector>

#include "nvimport/framework/SpreadsheetData.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

// Gathers the texts of a table, which must come row by row, each row from its first column on.
class GatheringSink : public ReadSpreadSheetData {
 public:
  using Rows = std::vector<std::vector<std::string>>;
  enum class EmptyFields { kSet, kLeftOut };
  explicit GatheringSink(EmptyFields empty_fields) : empty_fields_(empty_fields) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    Check(column >= 1 && column <= columns_ && row >= 1 && row <= rows_,
          "the cell lies within the size");
    const auto index = static_cast<std::size_t>(row);
    Check(index >= rows.size(), "no row comes back");
    rows.resize(index);
    const auto before = static_cast<std::size_t>(column) - 1;
    if (empty_fields_ == EmptyFields::kSet) {
      Check(rows.back().size() == before, "no column is left out");
    } else {
      Check(rows.back().size() <= before, "no column comes back");
      Check(*text != '\0', "an empty field is not set");
      rows.back().resize(before);
    }
    rows.back().emplace_back(text);
  }
  void Set(int, int, float) override { Check(false, "text is no number"); }
  void SetDataSize(int announced_columns, int announced_rows) override {
    columns_ = announced_columns;
    rows_ = announced_rows;
  }
  int GetNumberOfColumns() override { return columns_; }
  int GetNumberOfRows() override { return rows_; }

  Rows rows;

 private:
  EmptyFields empty_fields_;
  int columns_ = 0;
  int rows_ = 0;
};

}  // namespace nvimport
