#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/matrix/NetcdfLayout.h"

namespace nvimport {

// Chromatograms and mass spectra in netCDF files.

enum class AndiKind : std::uint8_t { kNone, kChromatogram, kMassSpectra };

AndiKind AndiKindOf(const NetcdfContents& contents);

// The number that means that there is none.
inline constexpr double kAndiMissing = -9999;

// A single number, which some programs write as a variable and others as an attribute.
int ReadAndiNumber(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                   std::string_view name, std::optional<double>& number);

// The text of the attribute, whose name some programs write with an s.
std::string AndiText(const NetcdfContents& contents, std::string_view name);

// When the points of a signal were taken.
struct AndiTimes {
  double delay = 0;
  double interval = 1;
  std::vector<double> times;  // unless they lie evenly
  bool has_times = true;      // else the points are numbered
};
int ReadAndiTimes(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                  std::uint64_t points, AndiTimes& times);

// The points of a scan.
struct AndiScan {
  std::uint64_t first = 0;
  std::uint64_t count = 0;
  bool is_sorted = true;  // by m/z; known once that was read
};
int ReadAndiScans(NetcdfSource& source, const NetcdfContents& contents, Budget& budget,
                  std::vector<AndiScan>& scans);

}  // namespace nvimport
