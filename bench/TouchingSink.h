#pragma once

#include "bench/Sums.h"
#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

// A sink that looks at every cell and keeps only sums.
template <typename Sums>
class SummingSink final : public ReadSpreadSheetData {
 public:
  explicit SummingSink(const Sums& sums = Sums{}, bool takes_exact = false)
      : sums_(sums), takes_exact_(takes_exact) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override { sums_.Text(column, row, text); }
  void Set(int column, int row, float value) override { sums_.Number(column, row, value); }
  bool TakesExact() override { return takes_exact_; }
  void SetExact(int column, int row, double value) override {
    sums_.Number(column, row, static_cast<float>(value));
  }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  CellSums Total() const { return sums_.Total(); }

 private:
  Sums sums_;
  bool takes_exact_;
};
using TouchingSink = SummingSink<LaneSums>;

}  // namespace nvimport
