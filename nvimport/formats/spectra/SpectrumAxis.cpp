#include "nvimport/formats/spectra/SpectrumAxis.h"

#include <cmath>
#include <cstring>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

double SpectrumGrid::ExactX(int point) const {
  if (point == 0) return first;
  if (stated_steps < 1) return std::fma(point, spacing, first);
  if (point == stated_steps) return stated_last;
  // (first * (steps - point) + last * point) / steps in twice the digits: what products, sum and
  // quotient are rounded by is carried along.
  const double steps = stated_steps;
  const double before = steps - point;
  const double left = first * before;
  const double right = stated_last * point;
  const double sum = left + right;
  if (!std::isfinite(sum)) return X(point);
  const double part = sum - left;
  const double rest = std::fma(first, before, -left) + std::fma(stated_last, point, -right) +
                      ((left - (sum - part)) + (right - part));
  const double quotient = (sum + rest) / steps;
  return quotient + (std::fma(-quotient, steps, sum) + rest) / steps;
}

int DigitsOfNames(const SpectrumAxis& axis, int first, int count) {
  constexpr int kMostDigits = 17;
  std::vector<double> x;
  x.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) x.push_back(axis.ExactX(first + i));
  if (!std::ranges::is_sorted(x)) std::ranges::sort(x);
  x.erase(std::unique(x.begin(), x.end()), x.end());
  int digits = kGeneralDigits;
  FloatText before;
  FloatText name;
  const auto write = [&](double value, FloatText& text) { FormatGeneral(value, text, 0, digits); };
  // Those before a name that needs more digits differ with more of them too.
  for (std::size_t i = 1; i < x.size() && digits < kMostDigits;) {
    write(x[i - 1], before);
    write(x[i], name);
    if (std::strcmp(before.data(), name.data()) == 0)
      ++digits;
    else
      ++i;
  }
  return digits;
}

}  // namespace nvimport
