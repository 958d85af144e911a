#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace nvimport {

// The order of x values, of which those that are no numbers come last.
inline bool IsBefore(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

// Every x that occurs in some spectra, as often as one of them has it.
template <typename X>
class XUnion {
 public:
  void Reserve(std::size_t count) { all_.reserve(count); }

  // Adds those of a spectrum, in their order.
  template <typename Points, typename XOf>
  void Add(const Points& points, XOf x_of) {
    const std::size_t begin = all_.size();
    for (const auto& point : points) {
      const X x = x_of(point);
      const bool repeats = all_.size() > begin && !IsBefore(all_.back().first, x);
      all_.emplace_back(x, repeats ? all_.back().second + 1 : 0);
    }
  }

  // All of them in their order.
  std::vector<double> Take() {
    const auto is_before = [](const auto& a, const auto& b) {
      return IsBefore(a.first, b.first) || (!IsBefore(b.first, a.first) && a.second < b.second);
    };
    std::ranges::sort(all_, is_before);
    const auto is_same = [&](const auto& a, const auto& b) { return !is_before(a, b); };
    all_.erase(std::unique(all_.begin(), all_.end(), is_same), all_.end());
    std::vector<double> values;
    values.reserve(all_.size());
    for (const auto& [x, number] : all_) values.push_back(x);
    return values;
  }

 private:
  std::vector<std::pair<X, int>> all_;  // with its number among equal ones of its spectrum
};

// Finds the places of the x values of a spectrum in such a union: the next one for each that
// repeats.
class XPlaces {
 public:
  explicit XPlaces(std::span<const double> all) : all_(all) {}

  // Of x, which is not before the last one asked for. The number of all where there is none.
  std::size_t Next(double x) {
    const auto at = std::lower_bound(all_.begin() + next_, all_.end(), x, IsBefore);
    const auto place = at - all_.begin();
    next_ = at == all_.end() ? place : place + 1;
    return static_cast<std::size_t>(place);
  }

 private:
  std::span<const double> all_;
  std::ptrdiff_t next_ = 0;
};

}  // namespace nvimport
