#include "nvimport/framework/Description.h"

#include <algorithm>
#include <utility>

namespace nvimport {

void Description::State(std::string_view label, std::string_view key, std::string_view value,
                        int row) {
  const std::string_view kept_label = label.substr(0, kLongestValue);
  const std::string_view kept = value.substr(0, kLongestValue);
  const std::size_t bytes = kForEach + kept_label.size() + key.size() + kept.size();
  const bool fits = Holds(bytes);
  if (!fits || kept.size() < value.size() || kept_label.size() < label.size()) ++cut_;
  if (!fits) return;
  bytes_ += bytes;
  statements_.push_back({row, std::string(kept_label), std::string(key), std::string(kept)});
}

void Description::NameAxis(Axis axis, std::string_view label, std::string_view unit) {
  names_[static_cast<std::size_t>(axis)] = {std::string(label.substr(0, kLongestValue)),
                                            std::string(unit.substr(0, kLongestValue))};
}

void Description::SetX(int first_column, std::vector<double> values) {
  first_x_column_ = first_column;
  x_ = std::move(values);
}

std::string_view Description::Find(std::string_view key, int row) const {
  const auto found = std::ranges::find_if(
      statements_, [&](const Statement& one) { return one.row == row && one.key == key; });
  return found != statements_.end() ? std::string_view(found->value) : std::string_view();
}

bool Description::empty() const {
  return statements_.empty() && x_.empty() && std::ranges::all_of(names_, [](const AxisName& name) {
           return name.label.empty() && name.unit.empty();
         });
}

}  // namespace nvimport
