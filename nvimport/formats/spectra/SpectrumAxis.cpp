#include "nvimport/formats/spectra/SpectrumAxis.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

bool IsSmallWhole(double value) {
  constexpr double kMost = 1 << 21;
  return std::fabs(value) <= kMost && value == static_cast<double>(static_cast<int>(value));
}

// (first * before + other * point) / steps in twice the digits: what products, sum and quotient are
// rounded by is carried along.
[[gnu::noinline]] double Exactly(const SpectrumGrid& grid, double before, double other, int point,
                                 double steps) {
  const double left = grid.first * before;
  const double right = other * point;
  const double sum = left + right;
  if (!std::isfinite(sum)) return grid.X(point);
  const double part = sum - left;
  const double rest = std::fma(grid.first, before, -left) + std::fma(other, point, -right) +
                      ((left - (sum - part)) + (right - part)) + grid.first_rest * before +
                      (grid.stated_steps > 0 ? grid.last_rest : grid.spacing_rest) * point;
  // So little of what is added up is what rounding left of zero.
  if (std::fabs(sum + rest) < (std::fabs(left) + std::fabs(right)) * 0x1p-98) return 0;
  const double quotient = (sum + rest) / steps;
  return quotient + (std::fma(-quotient, steps, sum) + rest) / steps;
}

}  // namespace

double SpectrumGrid::ExactX(int point) const {
  if (point == 0) return first;
  if (point == stated_steps && stated_steps > 0) return stated_last;
  // Without steps, first + spacing * point.
  const bool has_last = stated_steps > 0;
  const double steps = has_last ? stated_steps : 1;
  const double before = has_last ? steps - point : 1;
  const double other = has_last ? stated_last : spacing;
  return Exactly(*this, before, other, point, steps);
}

void AddGrid(std::vector<SpectrumGrid>& grids, const SpectrumGrid& grid) {
  const auto is_same = [&](const SpectrumGrid& other) { return IsSameGrid(grid, other); };
  if (grids.size() < kMostGrids && std::ranges::none_of(grids, is_same)) grids.push_back(grid);
}

double OnGrids(std::span<const SpectrumGrid> grids, double x) {
  constexpr double kRounding = 4 * std::numeric_limits<double>::epsilon();
  for (const SpectrumGrid& grid : grids) {
    const double place = std::round((x - grid.first) / grid.spacing);
    if (!(place >= 0 && place < grid.points)) continue;
    const double on_grid = grid.ExactX(static_cast<int>(place));
    const double largest = std::max(std::fabs(grid.first), std::fabs(grid.last));
    if (std::fabs(on_grid - x) <= kRounding * largest) return on_grid;
  }
  return x;
}

ExactGrid::ExactGrid(const SpectrumGrid& grid)
    : grid_(grid),
      steps_(grid.stated_steps),
      is_whole_(grid.stated_steps > 0 && IsSmallWhole(grid.first) &&
                IsSmallWhole(grid.stated_last) && grid.first_rest == 0 && grid.last_rest == 0) {}

namespace {

// The fewest digits of which a unit in the last place is less than the spacing, all along the axis:
// names have no need of more.
int MostDigits(const SpectrumGrid& grid, int first, int count) {
  constexpr double kPart = 1 - 1e-6;  // of the spacing, less what rounding takes
  const double largest = std::max(std::fabs(grid.X(first)), std::fabs(grid.X(first + count - 1)));
  const double ratio = largest / (std::fabs(grid.spacing) * kPart);
  if (!(ratio < 1e16) || !(largest > 0)) return kMostNameDigits;
  double unit = std::pow(10.0, std::floor(std::log10(largest)) + 1 - kGeneralDigits);
  int digits = kGeneralDigits;
  for (; unit >= std::fabs(grid.spacing) * kPart && digits < kMostNameDigits; ++digits) unit /= 10;
  return digits;
}

}  // namespace

int DigitsOfNames(const SpectrumAxis& axis, int first, int count) {
  const auto exact = [&](int i) { return axis.ExactX(first + i); };
  // Those of a file may be in any order; what lies evenly has no room of its own.
  std::vector<double> sorted;
  for (int i = 1; i < count && !axis.is_even(); ++i) {
    if (exact(i - 1) <= exact(i)) continue;
    sorted.reserve(static_cast<std::size_t>(count));
    for (int j = 0; j < count; ++j) sorted.push_back(exact(j));
    std::ranges::sort(sorted);
    break;
  }
  const auto x = [&](int i) {
    return sorted.empty() ? exact(i) : sorted[static_cast<std::size_t>(i)];
  };
  const int most = axis.is_even() && count > 1 ? MostDigits(axis, first, count) : kMostNameDigits;
  int digits = kGeneralDigits;
  FloatText before;
  FloatText name;
  // Larger values share names sooner, and mostly they are the last.
  for (int i = 1; i < count && digits < most;) {
    const double left = x(count - 1 - i);
    const double right = x(count - i);
    FormatGeneral(left, before, 0, digits);
    FormatGeneral(right, name, 0, digits);
    // With a digit more two names that differed may be one: halves are rounded.
    if (left != right && std::strcmp(before.data(), name.data()) == 0)
      ++digits, i = 1;
    else
      ++i;
  }
  return digits;
}

}  // namespace nvimport
