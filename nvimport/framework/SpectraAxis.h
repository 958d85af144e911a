#pragma once

#include <optional>
#include <span>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Where a sheet of spectra has them: the columns whose names, in the first row, are x values, and a
// spectrum in each row below. The columns before hold the names of samples, those behind other
// values.
struct SpectraAxis {
  int first_column = 1;   // of the spectra, from 1
  std::vector<double> x;  // of the columns from there on, all rising or all falling

  int last_column() const { return first_column + static_cast<int>(x.size()) - 1; }
  bool falls() const { return x.back() < x.front(); }
};

// The axis in the first row of a sheet, its cells from column 1. A name holds an x value when it is
// a number, or a letter and a number ("w1100", "t 400"). Of the runs of at least three columns with
// like names and rising or falling x values, the longest; none without such.
NVIMPORT_API std::optional<SpectraAxis> FindSpectraAxis(std::span<const MemoryCell> first_row,
                                                        char decimal_mark = '.');

}  // namespace nvimport
