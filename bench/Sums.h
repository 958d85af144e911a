#pragma once

#include <charconv>
#include <climits>
#include <cstdint>
#include <string_view>

namespace nvimport {

// What sinks keep that look at every cell and store none.
struct CellSums {
  std::uint64_t cells = 0;
  std::uint64_t bytes = 0;
  double numbers = 0;
};

// Sums in eight lanes, since one sum alone would hide the cost of the calls behind its own latency.
class LaneSums {
 public:
  void Text(int column, int row, const char* text) {
    CellSums& lane = lanes_[column & 7];
    ++lane.cells;
    lane.bytes += static_cast<std::uint64_t>(static_cast<unsigned char>(*text) + column + row);
  }
  void Number(int column, int row, float value) {
    CellSums& lane = lanes_[column & 7];
    ++lane.cells;
    lane.numbers += static_cast<double>(value);
    lane.bytes += static_cast<std::uint64_t>(column + row);
  }
  CellSums Total() const {
    CellSums total;
    for (const CellSums& lane : lanes_) {
      total.cells += lane.cells;
      total.bytes += lane.bytes;
      total.numbers += lane.numbers;
    }
    return total;
  }

 private:
  CellSums lanes_[8];
};

// The numbers of a part of a sheet, those written as texts included: what two readers agree on that
// have different headers.
class TableSums {
 public:
  explicit TableSums(int first_column = 1, int first_row = 1, int last_column = INT_MAX)
      : first_column_(first_column), first_row_(first_row), last_column_(last_column) {}

  void Text(int column, int row, const char* text) {
    const std::string_view whole = text;
    double value = 0;
    const auto read = std::from_chars(whole.begin(), whole.end(), value);
    if (read.ec == std::errc() && read.ptr == whole.end()) Add(column, row, value);
  }
  void Number(int column, int row, float value) { Add(column, row, static_cast<double>(value)); }
  CellSums Total() const { return sums_; }

 private:
  void Add(int column, int row, double value) {
    if (column < first_column_ || row < first_row_ || column > last_column_) return;
    ++sums_.cells;
    sums_.numbers += value;
  }

  int first_column_;
  int first_row_;
  int last_column_;
  CellSums sums_;
};

}  // namespace nvimport
