#pragma once

#include <cmath>
#include <span>
#include <string_view>
#include <type_traits>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/framework/Description.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

// States what files of spectra say, within what their budget leaves, of which a read loses nothing.
class SpectraStatements {
 public:
  SpectraStatements(Description& description, std::span<const KeySource> keys, const Budget& budget)
      : description_(description), keys_(keys), budget_(budget) {}

  Description& description() { return description_; }
  Budget& budget() { return budget_; }

  // Some statement was dropped, and so will be all others.
  bool full() const { return full_; }
  void Drop() {
    full_ = true;
    description_.AddCut(1);
  }

  void State(std::string_view label, std::string_view key, std::string_view value, int row) {
    const std::size_t bytes = label.size() + key.size() + value.size() + Description::kForEach;
    if (full_ || !description_.Holds(bytes) || !budget_.TakeIfSpare(bytes, 0)) return Drop();
    description_.State(label, key, value, row);
  }
  void State(std::string_view label, std::string_view value, int row) {
    State(label, KeyOf(keys_, label), value, row);
  }
  void StateIfAny(std::string_view label, std::string_view value, int row) {
    if (!value.empty()) State(label, value, row);
  }

  // A number of a header, where it says something.
  template <typename Number>
  void StateNumber(std::string_view label, Number value, int row) {
    FloatText text;
    if constexpr (std::is_floating_point_v<Number>) {
      if (std::isfinite(value)) State(label, FormatFloat(value, text), row);
    } else {
      State(label, FormatWhole(static_cast<long long>(value), text), row);
    }
  }
  template <typename Number>
  void StateIfNotZero(std::string_view label, Number value, int row) {
    if (value != Number{}) StateNumber(label, value, row);
  }

 private:
  Description& description_;
  std::span<const KeySource> keys_;
  Budget budget_;
  bool full_ = false;
};

}  // namespace nvimport
