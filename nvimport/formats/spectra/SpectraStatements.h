#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/framework/Description.h"
#include "nvimport/platform/Budget.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

// What several spectra say alike; nothing where they differ.
class CommonText {
 public:
  void Take(std::string_view text) {
    if (text.empty()) return;
    differs_ |= !text_.empty() && text_ != text;
    text_ = text;
  }
  std::string_view text() const { return differs_ ? std::string_view() : text_; }

 private:
  std::string text_;
  bool differs_ = false;
};

// States what files of spectra say, within what their budget leaves, of which a read loses nothing.
class SpectraStatements {
 public:
  // Rows that are each told what their file or block says; of more the first is.
  static constexpr int kMostRepeated = 64;

  SpectraStatements(Description& description, std::span<const KeySource> keys, const Budget& budget)
      : description_(description), keys_(keys), budget_(budget) {}

  ~SpectraStatements() {
    for (const Axis axis : {Axis::kX, Axis::kY, Axis::kZ})
      description_.NameAxis(axis, Label(axis).text(), Unit(axis).text());
  }
  SpectraStatements(const SpectraStatements&) = delete;
  SpectraStatements& operator=(const SpectraStatements&) = delete;

  // What a spectrum says of an axis.
  CommonText& Label(Axis axis) { return labels_[static_cast<std::size_t>(axis)]; }
  CommonText& Unit(Axis axis) { return units_[static_cast<std::size_t>(axis)]; }

  void AddCut() { description_.AddCut(1); }
  Budget& budget() { return budget_; }

  // Some statement was dropped, and so will be all others.
  bool full() const { return full_; }
  void Drop() {
    full_ = true;
    AddCut();
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

  template <typename Number>
  void StateNumber(std::string_view label, Number value, int row) {
    FloatText text;
    if constexpr (std::is_same_v<Number, double>) {
      if (std::isfinite(value)) State(label, FormatDouble(value, text), row);
    } else if constexpr (std::is_floating_point_v<Number>) {
      if (std::isfinite(value)) State(label, FormatFloat(value, text), row);
    } else {
      State(label, FormatWhole(static_cast<long long>(value), text), row);
    }
  }
  // The same of one that says nothing where it is 0. Below the normal floats are left-over bytes.
  template <typename Number>
  void StateIfNotZero(std::string_view label, Number value, int row) {
    if constexpr (std::is_floating_point_v<Number>) {
      if (std::isnormal(value)) StateNumber(label, value, row);
    } else if (value != 0) {
      StateNumber(label, value, row);
    }
  }

 private:
  Description& description_;
  std::span<const KeySource> keys_;
  Budget budget_;
  std::array<CommonText, 3> labels_;
  std::array<CommonText, 3> units_;
  bool full_ = false;
};

}  // namespace nvimport
