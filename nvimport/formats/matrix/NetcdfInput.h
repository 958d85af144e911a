#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/matrix/AndiLayout.h"
#include "nvimport/formats/matrix/NetCDFFile.h"
#include "nvimport/formats/matrix/NetcdfTable.h"

namespace nvimport {

// What the parts of the reader share of the files that it has open.

inline constexpr int kNetcdfNameColumn = 2;
inline constexpr int kNetcdfFirstColumn = 3;
inline constexpr int kNetcdfFirstMassColumn = 4;
inline constexpr std::array<std::string_view, 2> kNetcdfYesAndNo = {"1", "0"};
inline constexpr std::uint64_t kForNetcdfPart = 512;  // and for what reads it

struct NetCDFFile::Input {
  std::string path;
  NetcdfContents contents{};
  AndiKind kind = AndiKind::kNone;
  std::string name{};
  int points = 0;
  int rows = 1;
  std::uint64_t table_rows = 0;
  AndiTimes times{};
  double time_factor = 1;
  bool in_minutes = false;
  std::vector<AndiScan> scans{};
  std::vector<double> scan_times{};
  std::vector<double> sums{};       // of the scans
  std::vector<NetcdfPart> parts{};  // of peaks or of a table

  double X(int point) const {
    const double x = times.times.empty() ? times.delay + point * times.interval
                                         : times.times[static_cast<std::size_t>(point)];
    return x * time_factor;
  }
  bool HasXOf(const Input& other) const {
    return points == other.points && times.times == other.times.times &&
           times.delay == other.times.delay && times.interval == other.times.interval &&
           time_factor == other.time_factor;
  }
  double ScanTime(std::size_t scan) const {
    return scan < scan_times.size() ? scan_times[scan] : std::numeric_limits<double>::quiet_NaN();
  }
  static int StatusOf(const NetcdfRows& rows_read) {
    return rows_read.cannot_read() ? kNetcdfCannotRead : kNetcdfCutShort;
  }
};

// What is taken of files that are neither, by the first of them; of each, what names its rows is
// its first part.
struct NetCDFFile::Table {
  std::vector<NetcdfOffer> offers{};
  bool has_names = true;
  bool has_row_names = false;
  std::size_t wide = 0;               // parts of several columns
  std::optional<NetcdfPart> heads{};  // that stand over the only wide part
  std::vector<double> x{};            // the same, if they are numbers
  std::uint64_t columns = 0;
};

// Has a row of the sheet set only if the sink wants it.
class NetCDFFile::RowWalk {
 public:
  explicit RowWalk(ReadSpreadSheetData& sink) : sink_(sink) {}

  // Rows are asked for in their order.
  bool Wants(int row) {
    while (next_ >= 0 && next_ < row) {
      const int after = sink_.GetNextIndex(next_);
      next_ = after < 0 ? after : std::max(after, next_ + 1);
    }
    return next_ == row;
  }
  bool ended() const { return next_ < 0; }

 private:
  ReadSpreadSheetData& sink_;
  int next_ = 0;
};

}  // namespace nvimport
