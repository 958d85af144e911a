#include "nvimport/formats/spectra/SpectrumAxis.h"

#include <cmath>
#include <cstring>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

double SpectrumGrid::ExactX(int point) const {
  if (point == 0) return first;
  if (point == stated_steps && stated_steps > 0) return stated_last;
  // (first * (steps - point) + last * point) / steps in twice the digits: what products, sum and
  // quotient are rounded by is carried along. Without steps, first + spacing * point likewise.
  const bool has_last = stated_steps > 0;
  const double steps = has_last ? stated_steps : 1;
  const double before = has_last ? steps - point : 1;
  const double other = has_last ? stated_last : spacing;
  const double left = first * before;
  const double right = other * point;
  const double sum = left + right;
  if (!std::isfinite(sum)) return X(point);
  const double part = sum - left;
  const double rest = std::fma(first, before, -left) + std::fma(other, point, -right) +
                      ((left - (sum - part)) + (right - part)) + first_rest * before +
                      (has_last ? last_rest : spacing_rest) * point;
  // So little of what is added up is what rounding left of zero.
  if (std::fabs(sum + rest) < (std::fabs(left) + std::fabs(right)) * 0x1p-98) return 0;
  const double quotient = (sum + rest) / steps;
  return quotient + (std::fma(-quotient, steps, sum) + rest) / steps;
}

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
  int digits = kGeneralDigits;
  FloatText before;
  FloatText name;
  for (int i = 1; i < count && digits < kMostNameDigits;) {
    const double left = x(i - 1);
    const double right = x(i);
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
