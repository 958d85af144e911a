#pragma once

#include "bench/Sums.h"
#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

// A sink that looks at every cell and keeps only sums.
template <typename Sums>
class SummingSink final : public ReadSpreadSheetData {
 public:
  explicit SummingSink(const Sums& sums = Sums{}) : sums_(sums) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { sums_.Text(column, row, text); }
  void Set(int column, int row, float value) override { sums_.Number(column, row, value); }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  CellSums Total() const { return sums_.Total(); }

 private:
  Sums sums_;
};
using TouchingSink = SummingSink<LaneSums>;

}  // namespace nvimport
