#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "nvimport/platform/Budget.h"

namespace nvimport {

// The order of x values, of which those that are no numbers come last.
inline bool IsBefore(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

// Every x that occurs in some spectra, as often as one of them has it. What it keeps is drawn from
// a budget.
template <typename X>
class XUnion {
 public:
  explicit XUnion(Budget& budget) : budget_(budget) {}

  // Adds those of a spectrum, in their order, whose room was drawn. False when the budget ends.
  [[nodiscard]] bool Add(std::vector<X> x) {
    parts_.push_back(std::move(x));
    // Only those of a like size are merged, so that each x is few times.
    while (parts_.size() > 1 && parts_[parts_.size() - 2].size() <= parts_.back().size())
      if (!Merge()) return false;
    return true;
  }

  // All of them, whose room is drawn; none when the budget ends.
  std::vector<X> Take() {
    while (parts_.size() > 1)
      if (!Merge()) return {};
    return parts_.empty() ? std::vector<X>() : std::move(parts_.front());
  }

 private:
  static std::uint64_t Room(const std::vector<X>& part) { return part.capacity() * sizeof(X); }

  bool Merge() {
    const std::vector<X> last = std::move(parts_.back());
    parts_.pop_back();
    std::vector<X>& before = parts_.back();
    std::size_t size = before.size();
    auto at = before.begin();
    for (const X x : last) {
      while (at != before.end() && IsBefore(*at, x)) ++at;
      if (at != before.end() && !IsBefore(x, *at))
        ++at;
      else
        ++size;
    }
    // Spectra mostly have the same x.
    if (size > before.size()) {
      if (!budget_.Take(size * sizeof(X))) return false;
      std::vector<X> both;
      both.reserve(size);
      std::ranges::set_union(before, last, std::back_inserter(both), IsBefore);
      budget_.Return(Room(before));
      before = std::move(both);
    }
    budget_.Return(Room(last));
    return true;
  }

  Budget& budget_;
  std::vector<std::vector<X>> parts_;
};

// Every x that occurs in inputs, which have so many `points` and the X of each. False when the
// budget ends.
template <typename Input>
[[nodiscard]] bool UniteXOf(const std::vector<Input>& inputs, Budget& budget,
                            std::vector<double>& united) {
  XUnion<double> all(budget);
  for (const Input& input : inputs) {
    const auto points = static_cast<std::size_t>(input.points);
    if (!budget.Take(points * sizeof(double))) return false;
    std::vector<double> x;
    x.reserve(points);
    for (int i = 0; i < input.points; ++i) x.push_back(input.X(i));
    if (!std::ranges::is_sorted(x, IsBefore)) std::ranges::sort(x, IsBefore);
    if (!all.Add(std::move(x))) return false;
  }
  united = all.Take();
  return !budget.overdrawn();
}

// The places of a spectrum's x values in such a union, where an x that repeats has a place each
// time.
template <typename X>
class XPlaces {
 public:
  // `starts`: of values that are there once, the place of the first of each; see SpectrumAxis.
  XPlaces(std::span<const X> all, Budget& budget, std::span<const std::uint32_t> starts = {},
          std::size_t places = 0)
      : all_(all),
        starts_(starts),
        places_(starts.empty() ? all.size() : places),
        budget_(budget),
        repeats_(!starts.empty() || std::ranges::adjacent_find(all, [](X a, X b) {
                                      return !IsBefore(a, b);
                                    }) != all.end()) {}
  XPlaces(XPlaces&&) = delete;
  ~XPlaces() { budget_.Return(counts_.capacity() * sizeof(std::uint32_t)); }

  // Of the next spectrum, whose x are in their order or not. False when the budget ends.
  [[nodiscard]] bool Begin(bool in_order) {
    next_ = 0;
    counts_.clear();
    in_order_ = in_order;
    if (!repeats_ || (in_order && starts_.empty())) return true;
    if (counts_.capacity() == 0 && !budget_.Take(all_.size() * sizeof(std::uint32_t))) return false;
    counts_.assign(all_.size(), 0);
    return true;
  }

  // The place of the next x; the number of places where there is none.
  std::size_t Of(X x) {
    if (!counts_.empty()) {
      const std::size_t value = Find(0, x);
      if (value == all_.size()) return places_;
      const std::size_t first = starts_.empty() ? value : starts_[value];
      return std::min(first + counts_[value]++, places_);
    }
    std::size_t place = next_;
    if (place == all_.size() || IsBefore(all_[place], x) || IsBefore(x, all_[place]))
      place = Find(in_order_ ? next_ : 0, x);
    next_ = std::min(place + 1, all_.size());
    return place;
  }

 private:
  std::size_t Find(std::size_t from, X x) const {
    return static_cast<std::size_t>(std::ranges::lower_bound(all_.subspan(from), x, IsBefore) -
                                    all_.begin());
  }

  std::span<const X> all_;
  std::span<const std::uint32_t> starts_;
  std::size_t places_;
  Budget& budget_;
  bool repeats_;
  bool in_order_ = true;
  std::size_t next_ = 0;
  std::vector<std::uint32_t> counts_;  // of those of the spectrum so far, by their first place
};

}  // namespace nvimport
