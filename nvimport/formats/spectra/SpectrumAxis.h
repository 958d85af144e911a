#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace nvimport {

// Points of x that lie evenly.
struct SpectrumGrid {
  double first = 0;
  double last = 0;
  double spacing = 0;
  int points = 0;

  // The x of a point, from 0. The spacing of a single point may be no number.
  double X(int point) const { return point == 0 ? first : first + point * spacing; }

  // The double next to the x of a point, from 0, as first, last and number of points say it.
  double ExactX(int point) const;
};

inline double SpectrumGrid::ExactX(int point) const {
  const int steps = points - 1;
  if (point <= 0) return first;
  if (point >= steps) return last;
  // (first * (steps - point) + last * point) / steps in twice the digits: what products, sum and
  // quotient are rounded by is carried along.
  const double before = steps - point;
  const double left = first * before;
  const double right = last * point;
  const double sum = left + right;
  if (!std::isfinite(sum)) return X(point);
  const double part = sum - left;
  const double rest = std::fma(first, before, -left) + std::fma(last, point, -right) +
                      ((left - (sum - part)) + (right - part));
  const double quotient = (sum + rest) / steps;
  return quotient + (std::fma(-quotient, steps, sum) + rest) / steps;
}

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

  double ExactX(int point) const {
    return floats.empty() && starts.empty() && values.empty() ? SpectrumGrid::ExactX(point)
                                                              : X(point);
  }
};

// A short file may announce this many points or spectra that it does not hold; more is a claim that
// would only cost.
inline constexpr std::uint64_t kMostUnbacked = 1'000'000;

}  // namespace nvimport
