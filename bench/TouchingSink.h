#pragma once

#include <cstdint>

#include "framework/SpreadsheetData.h"

// A sink that looks at every cell and keeps only sums. It has eight lanes, since one sum alone
// would hide the cost of the calls behind its own latency.
class TouchingSink final : public ReadSpreadSheetData {
 public:
  struct Sums {
    std::uint64_t cells = 0;
    std::uint64_t bytes = 0;
    double numbers = 0;
  };

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    Sums& lane = lanes_[column & 7];
    ++lane.cells;
    lane.bytes += static_cast<std::uint64_t>(static_cast<unsigned char>(*text) + column + row);
  }
  void Set(int column, int row, float value) override {
    Sums& lane = lanes_[column & 7];
    ++lane.cells;
    lane.numbers += static_cast<double>(value);
    lane.bytes += static_cast<std::uint64_t>(column + row);
  }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }

  Sums Total() const {
    Sums total;
    for (const Sums& lane : lanes_) {
      total.cells += lane.cells;
      total.bytes += lane.bytes;
      total.numbers += lane.numbers;
    }
    return total;
  }

 private:
  Sums lanes_[8];
};
