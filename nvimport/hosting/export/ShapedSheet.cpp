#include "nvimport/hosting/export/ShapedSheet.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstddef>
#include <tuple>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

std::optional<NumberRanges> NumberRanges::Parse(std::string_view text) {
  NumberRanges ranges;
  while (true) {
    const std::size_t comma = std::min(text.find(','), text.size());
    const std::string_view item = text.substr(0, comma);
    const char* const end = item.data() + item.size();
    int first = 0;
    const char* at = std::from_chars(item.data(), end, first).ptr;
    if (first < 1) return std::nullopt;
    int last = first;
    if (at != end && *at == '-') {
      last = INT_MAX;
      if (++at != end) at = std::from_chars(at, end, last).ptr;
    }
    if (at != end || last < first) return std::nullopt;
    ranges.ranges_.emplace_back(first, last);
    if (comma == text.size()) return ranges;
    text.remove_prefix(comma + 1);
  }
}

void NumberRanges::FitTo(int count) {
  std::vector<std::pair<int, int>> taken;
  const auto take = [&](int first, int last) {
    for (int next = first; next <= last;) {
      // The next one that is taken already, and where it ends.
      int begin = INT_MAX;
      int end = INT_MAX;
      for (const auto& [from, to] : taken)
        if (to >= next && from < begin) std::tie(begin, end) = std::pair(from, to);
      const int stop = begin > last ? last : begin - 1;
      if (stop >= next) taken.emplace_back(next, stop);
      if (begin > last || end == INT_MAX) return;
      next = end + 1;
    }
  };
  for (const auto& range : ranges_)
    take(range.first, &range == &ranges_.back() ? range.second : std::min(range.second, count));
  if (!taken.empty()) ranges_ = std::move(taken);
}

bool NumberRanges::are_rising() const {
  return std::ranges::adjacent_find(ranges_, [](const auto& a, const auto& b) {
           return b.first <= a.second;
         }) == ranges_.end();
}

int NumberRanges::PositionOf(int number) const {
  if (ranges_.empty()) return number;
  int before = 0;
  for (const auto& [first, last] : ranges_) {
    if (number >= first && number <= last) return before + number - first + 1;
    before += last - first + 1;
  }
  return 0;
}

int NumberRanges::CountOf(int count) const {
  if (ranges_.empty()) return count;
  int wanted = 0;
  for (const auto& [first, last] : ranges_)
    wanted += std::max(std::min(last, count) - first + 1, 0);
  return wanted;
}

int NumberRanges::FirstBeyond(int count) const {
  const auto beyond =
      std::ranges::find_if(ranges_, [&](auto& range) { return range.first > count; });
  return beyond == ranges_.end() ? 0 : beyond->first;
}

int ShapedSheet::Begin(int columns, int rows, const Description& description) {
  if (!shape_.columns.are_rising()) shape_.columns.FitTo(columns);
  if (!shape_.rows.are_rising()) shape_.rows.FitTo(std::max(rows - shape_.skipped_rows, 0));
  if (shape_.has_exact_names || shape_.is_long) {
    first_x_column_ = description.first_x_column();
    x_ = description.x();
  }
  if (!x_.empty()) first_value_column_ = std::max(first_x_column_, 2);
  if (!shape_.is_long)
    return shape_.is_transposed ? shape_.rows.CountOf(std::max(rows - shape_.skipped_rows, 0))
                                : shape_.columns.CountOf(columns);
  int column = 0;
  for (const char* const name : {"name", "x", "y"}) target_->Set(++column, 1, name);
  return column;
}

std::optional<double> ShapedSheet::XOf(int column) const {
  const auto at = static_cast<std::size_t>(column - first_x_column_);
  if (column < first_x_column_ || at >= x_.size()) return std::nullopt;
  return x_[at];
}

template <typename Put, typename Text>
void ShapedSheet::Give(int column, int row, const Put& put, const Text& text) {
  if (column < 1 || row <= shape_.skipped_rows) return;
  const int view_row = shape_.rows.PositionOf(row - shape_.skipped_rows);
  if (shape_.is_long && (view_row > 0 || row == 1 + shape_.skipped_rows))
    return GiveLong(column, row, put, text);
  const int view_column = shape_.columns.PositionOf(column);
  if (view_row == 0 || view_column == 0) return;
  const int to_column = shape_.is_transposed ? view_row : view_column;
  const int to_row = shape_.is_transposed ? view_column : view_row;
  const auto x = shape_.has_exact_names && row == 1 ? XOf(column) : std::nullopt;
  if (x)
    target_->SetExact(to_column, to_row, *x);
  else
    put(to_column, to_row);
}

template <typename Put, typename Text>
void ShapedSheet::GiveLong(int column, int row, const Put& put, const Text& text) {
  if (row == 1 + shape_.skipped_rows) {
    if (column < first_value_column_ || XOf(column)) return;
    const auto at = static_cast<std::size_t>(column - first_value_column_);
    if (at >= names_.size()) names_.resize(at + 1);
    names_[at] = text();
    return;
  }
  if (column == first_value_column_ - 1) {
    label_ = text();
    label_row_ = row;
  }
  if (column < first_value_column_ || shape_.columns.PositionOf(column) == 0) return;
  ++long_row_;
  if (label_row_ == row) target_->Set(1, long_row_, label_.c_str(), label_.size());
  const auto at = static_cast<std::size_t>(column - first_value_column_);
  if (const auto x = XOf(column))
    target_->SetExact(2, long_row_, *x);
  else if (at < names_.size())
    target_->Set(2, long_row_, names_[at].c_str(), names_[at].size());
  put(3, long_row_);
}

void ShapedSheet::Set(int column, int row, const char* text) {
  if (text == nullptr) return;
  Give(
      column, row, [&](int c, int r) { target_->Set(c, r, text); },
      [&] { return std::string(text); });
}

void ShapedSheet::Set(int column, int row, const char* text, std::size_t length) {
  if (text == nullptr) return;
  Give(
      column, row, [&](int c, int r) { target_->Set(c, r, text, length); },
      [&] { return std::string(text); });
}

void ShapedSheet::Set(int column, int row, float value) {
  FloatText buffer;
  Give(
      column, row, [&](int c, int r) { target_->Set(c, r, value); },
      [&] { return std::string(FormatFloat(value, buffer)); });
}

void ShapedSheet::SetExact(int column, int row, double value) {
  FloatText buffer;
  Give(
      column, row, [&](int c, int r) { target_->SetExact(c, r, value); },
      [&] { return std::string(FormatDouble(value, buffer)); });
}

void ShapedSheet::SetExact(int column, int row, long long value) {
  FloatText buffer;
  Give(
      column, row, [&](int c, int r) { target_->SetExact(c, r, value); },
      [&] { return std::string(FormatWhole(value, buffer)); });
}

void ShapedSheet::SetDataSize(int columns, int rows) {
  ReadOnlySheet::SetDataSize(columns, rows);
  if (shape_.is_long) return;
  const int wide = shape_.columns.CountOf(columns);
  const int high = shape_.rows.CountOf(std::max(rows - shape_.skipped_rows, 0));
  shape_.is_transposed ? target_->SetDataSize(high, wide) : target_->SetDataSize(wide, high);
}

}  // namespace nvimport
