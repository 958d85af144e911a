#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

namespace nvimport {

// The order of x values, of which those that are no numbers come last.
inline bool IsBefore(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

// Every x that occurs in some spectra, as often as one of them has it.
class XUnion {
 public:
  // Adds those of a spectrum, in their order.
  void Add(std::vector<double> x) {
    parts_.push_back(std::move(x));
    // Only those of a like size are merged, so that each x is few times.
    while (parts_.size() > 1 && parts_[parts_.size() - 2].size() <= parts_.back().size()) Merge();
  }

  std::vector<double> Take() {
    while (parts_.size() > 1) Merge();
    return parts_.empty() ? std::vector<double>() : std::move(parts_.front());
  }

 private:
  void Merge() {
    const std::vector<double> last = std::move(parts_.back());
    parts_.pop_back();
    std::vector<double> both;
    both.reserve(parts_.back().size() + last.size());
    std::ranges::set_union(parts_.back(), last, std::back_inserter(both), IsBefore);
    parts_.back() = std::move(both);
  }

  std::vector<std::vector<double>> parts_;
};

// The place in such a union of an x that is not before the last one asked for: from `next` on,
// which goes behind it, for an x that repeats has a place each time. The number of all where there
// is none.
inline std::size_t PlaceOf(double x, std::span<const double> all, std::size_t& next) {
  const auto place = static_cast<std::size_t>(
      std::ranges::lower_bound(all.subspan(next), x, IsBefore) - all.begin());
  next = std::min(place + 1, all.size());
  return place;
}

}  // namespace nvimport
