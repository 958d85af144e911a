#include "python/TypedColumns.h"

#include <algorithm>
#include <array>
#include <future>
#include <limits>

#include "nvimport/hosting/calls/TextValues.h"

namespace nvimport {

namespace {

constexpr std::size_t kPiece = 64;             // columns that are gone through at once
constexpr std::size_t kCellsForTwo = 100'000;  // that are worth a second processor
constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

}  // namespace

TypedColumns::TypedColumns(const DenseSheet& sheet, int first_column, int first_row,
                           int last_column, const TypingRules& rules)
    : rows_(static_cast<std::size_t>(std::max(sheet.rows() - first_row + 1, 0))),
      columns_(static_cast<std::size_t>(std::max(last_column - first_column + 1, 0))),
      values_(std::make_unique_for_overwrite<Value[]>(rows_ * columns_.size())) {
  const std::size_t count = columns_.size();
  const std::size_t half = rows_ * count < kCellsForTwo ? count : (count + 1) / 2;
  const auto take = [&](std::size_t begin, std::size_t end) {
    TakeColumns(sheet, first_column, first_row, begin, end, rules);
  };
  std::future<void> others;
  // Where no thread is to be had they wait for get().
  if (half < count) others = std::async(take, half, count);
  take(0, half);
  if (half < count) others.get();
}

void TypedColumns::TakeColumns(const DenseSheet& sheet, int first_column, int first_row,
                               std::size_t begin, std::size_t end, const TypingRules& rules) {
  std::array<MemoryCell, kPiece> cells;
  for (std::size_t at = begin; at < end; at += kPiece) {
    const auto piece = std::span(cells).first(std::min(kPiece, end - at));
    for (std::size_t row = 0; row < rows_; ++row) {
      sheet.GetCells(first_column + static_cast<int>(at), first_row + static_cast<int>(row), piece);
      std::size_t column = at;
      for (const MemoryCell& cell : piece) Take(column++, row, cell, rules);
    }
  }
  for (std::size_t at = begin; at < end; ++at) {
    Column& column = columns_[at];
    const auto cell_in = [&](std::size_t row) {
      MemoryCell cell;
      sheet.GetCells(first_column + static_cast<int>(at), first_row + static_cast<int>(row),
                     {&cell, 1});
      return cell;
    };
    const bool has_fractions = column.has_floats || column.has_doubles;
    if (column.has_words || (column.has_times && (has_fractions || column.has_wholes))) {
      column.type = column.has_numbers ? ColumnType::kMixed : ColumnType::kText;
      if (!column.has_words) column.first_word = rows_;
      if (!column.has_numbers) SetTexts(at, cell_in);
    } else if (column.has_times) {
      column.type = ColumnType::kTime;
      SetTimes(at);
    } else if (column.has_wholes && !has_fractions) {
      column.type = ColumnType::kWhole;
      SetWholes(at, [&](std::size_t row) {
        MemoryCell cell = cell_in(row);
        if (cell.kind == CellKind::kText)
          cell = NumberOf(WithoutBlanks(cell.text), rules.decimal_mark).value_or(cell);
        return cell.whole;
      });
    }
  }
}

void TypedColumns::Take(std::size_t at, std::size_t row, const MemoryCell& cell,
                        const TypingRules& rules) {
  if (cell.kind == CellKind::kMissing) return SetMissing(at, row);
  if (cell.kind == CellKind::kText) return TakeText(at, row, cell.text, rules);
  Column& column = columns_[at];
  column.has_numbers = true;
  if (cell.number_kind == NumberKind::kWhole)
    column.has_wholes = column.has_large = true;
  else
    (cell.number_kind == NumberKind::kFloat ? column.has_floats : column.has_doubles) = true;
  values_[at * rows_ + row].number = cell.exact();
}

void TypedColumns::TakeText(std::size_t at, std::size_t row, std::string_view text,
                            const TypingRules& rules) {
  Column& column = columns_[at];
  Value& value = values_[at * rows_ + row];
  if (!rules.missing.empty() && rules.missing.contains(text)) return SetMissing(at, row);
  const char* const begin = text.data();
  text = WithoutBlanks(text);
  if (text.empty()) return SetMissing(at, row);
  if (column.has_words) {
    value.text = begin;
    return;
  }
  if (const auto number = NumberOf(text, rules.decimal_mark)) {
    const bool is_whole = number->number_kind == NumberKind::kWhole;
    (is_whole ? column.has_wholes : column.has_doubles) = true;
    column.has_large = column.has_large || (is_whole && !IsExact(number->whole));
    value.number = number->wide;
  } else if (const auto time = ParseTime(text)) {
    column.has_times = true;
    value.whole = *time;
  } else {
    column.has_words = true;
    column.first_word = row;
    value.text = begin;
  }
}

void TypedColumns::SetMissing(std::size_t at, std::size_t row) {
  std::vector<std::uint8_t>& missing = columns_[at].missing;
  if (missing.empty()) missing.resize(rows_);
  missing[row] = 1;
  values_[at * rows_ + row].number = std::numeric_limits<double>::quiet_NaN();
}

void TypedColumns::SetTimes(std::size_t at) {
  const auto missing = this->missing(at);
  for (std::size_t row = 0; row < missing.size(); ++row)
    if (missing[row] != 0) values_[at * rows_ + row].whole = kNoTime;
}

template <typename Whole>
void TypedColumns::SetWholes(std::size_t at, const Whole& whole) {
  const auto missing = this->missing(at);
  for (std::size_t row = 0; row < rows_; ++row) {
    Value& value = values_[at * rows_ + row];
    const double number = value.number;
    if (!missing.empty() && missing[row] != 0)
      value.whole = 0;
    else
      value.whole = columns_[at].has_large ? whole(row) : static_cast<std::int64_t>(number);
  }
}

template <typename Cell>
void TypedColumns::SetTexts(std::size_t at, const Cell& cell) {
  const std::span values(&values_[at * rows_], rows_);
  for (std::size_t row = 0; row < columns_[at].first_word; ++row)
    values[row].text = cell(row).text.data();
  const auto missing = this->missing(at);
  for (std::size_t row = 0; row < missing.size(); ++row)
    if (missing[row] != 0) values[row].text = nullptr;
}

}  // namespace nvimport
