#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Points of x that lie evenly.
struct SpectrumGrid {
  double first = 0;
  double last = 0;
  double spacing = 0;
  int points = 0;
  // What the file states: the x so many steps after the first. Without steps it states the spacing.
  double stated_last = 0;
  int stated_steps = 0;
  // What a decimal number of the file is beyond the double next to it, of first, last and spacing.
  double first_rest = 0;
  double last_rest = 0;
  double spacing_rest = 0;

  // The x of a point, from 0. The spacing of a single point may be no number.
  double X(int point) const { return point == 0 ? first : first + point * spacing; }

  // The double next to what the file states for the point.
  NVIMPORT_API double ExactX(int point) const;

  void State(double last_stated, int steps, double rest = 0) {
    stated_last = last_stated;
    stated_steps = steps;
    last_rest = rest;
  }
};

// The same for many points of a grid that stays.
class ExactGrid {
 public:
  NVIMPORT_API explicit ExactGrid(const SpectrumGrid& grid);
  double X(int point) const {
    return is_whole_ ? (grid_.first * (steps_ - point) + grid_.stated_last * point) / steps_
                     : grid_.ExactX(point);
  }

 private:
  const SpectrumGrid& grid_;
  double steps_;
  bool is_whole_;  // first and last, so that only the quotient is rounded
};

// Whether the points of two grids are the same.
inline bool IsSameGrid(const SpectrumGrid& a, const SpectrumGrid& b) {
  return a.points == b.points && a.first == b.first && a.last == b.last;
}

// Adds a grid to those that differ, as long as they are few.
inline constexpr std::size_t kMostGrids = 8;
NVIMPORT_API void AddGrid(std::vector<SpectrumGrid>& grids, const SpectrumGrid& grid);

// What only rounding takes apart from the x of a point of these grids is that x.
NVIMPORT_API double OnGrids(std::span<const SpectrumGrid> grids, double x);

// The x axis of a spectrum, or of a sheet of them: evenly spaced points, or a value for each.
struct SpectrumAxis : SpectrumGrid {
  std::vector<double> values{};
  std::vector<float> floats{};  // the same, of a format that has no others
  // Where most values come several times: each is there once, and this is its first point.
  std::vector<std::uint32_t> starts{};

  double X(int point) const {
    if (!floats.empty()) return static_cast<double>(floats[static_cast<std::size_t>(point)]);
    if (!starts.empty()) {
      const auto next = std::ranges::upper_bound(starts, static_cast<std::uint32_t>(point));
      return values[static_cast<std::size_t>(next - starts.begin()) - 1];
    }
    return values.empty() ? SpectrumGrid::X(point) : values[static_cast<std::size_t>(point)];
  }

  bool is_even() const { return floats.empty() && starts.empty() && values.empty(); }

  // Points that are all there are exact.
  double ExactX(int point) const { return is_even() ? SpectrumGrid::ExactX(point) : X(point); }
};

// The fewest digits, six or more, with which the names of so many points differ where their x
// values do.
inline constexpr int kMostNameDigits = 17;
NVIMPORT_API int DigitsOfNames(const SpectrumAxis& axis, int first, int count);

// A short file may announce this many points or spectra that it does not hold; more is a claim that
// would only cost.
inline constexpr std::uint64_t kMostUnbacked = 1'000'000;

}  // namespace nvimport
