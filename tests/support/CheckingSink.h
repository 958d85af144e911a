#pragma once

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

// A sink for damaged files: every cell must lie within the announced size, or at least have a
// place.
class CheckingSink : public ReadSpreadSheetData {
 public:
  enum class Beyond { kForbidden, kAllowed };
  explicit CheckingSink(Beyond beyond = Beyond::kForbidden) : beyond_(beyond) {}

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
    Check(column >= 1 && row >= 1, "the cell has a place");
    Check((column <= columns_ && row <= rows_) || beyond_ == Beyond::kAllowed,
          "the cell lies within the size");
  }

  Beyond beyond_;
  int columns_ = -1;
  int rows_ = -1;
};

// Reads an opened file. One that announces its size announces what it was asked for before.
inline void ReadAsAnnounced(SpreadsheetFile& file, CheckingSink::Beyond beyond = {}) {
  const int rows = file.GetNumRows();
  const int columns = file.GetNumCols();
  CheckingSink sink(beyond);
  if (file.Read(&sink) != 0 || sink.GetNumberOfRows() < 0) return;
  Check(sink.GetNumberOfRows() == rows && sink.GetNumberOfColumns() == columns,
        "the read sets the size that was asked before");
}

}  // namespace nvimport
