#include "python/TypedColumns.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <limits>

#include "nvimport/hosting/export/SheetWriters.h"

namespace nvimport {

namespace {

constexpr int kPiece = 64;  // columns that are gone through at once
constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

std::string_view WithoutBlanks(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsWhole(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return !text.empty() && std::ranges::all_of(text, IsDigit);
}

// A number of leading zeros is a code.
bool IsCode(std::string_view text) {
  if (text.starts_with('-') || text.starts_with('+')) text.remove_prefix(1);
  return text.size() > 1 && text[0] == '0' && IsDigit(text[1]);
}

// The number of few digits that a text is, if it is as plain as most are: the digits and the power
// of ten are doubles, so that their quotient is the nearest one.
std::optional<MemoryCell> PlainNumber(std::string_view text, char decimal_mark) {
  constexpr std::size_t kMost = 16;  // of 15 digits and a mark
  constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  if (text.size() > kMost) return std::nullopt;
  long long digits = 0;
  std::size_t mark = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsDigit(text[i]))
      digits = digits * 10 + (text[i] - '0');
    else if (text[i] == decimal_mark && mark == text.size())
      mark = i;
    else
      return std::nullopt;
  }
  const bool is_whole = mark == text.size();
  if (text.size() - (is_whole ? 0 : 1) - 1 >= kMost - 1) return std::nullopt;
  const auto number = static_cast<double>(digits);
  if (is_whole) {
    const long long whole = is_negative ? -digits : digits;
    return MemoryCell{.kind = CellKind::kNumber,
                      .number_kind = NumberKind::kWhole,
                      .wide = static_cast<double>(whole),
                      .whole = whole};
  }
  const double value = number / kPowers[text.size() - mark - 1];
  return MemoryCell{.kind = CellKind::kNumber,
                    .number_kind = NumberKind::kDouble,
                    .wide = is_negative ? -value : value};
}

// The number that a text is: whole as such, and none that would lose a digit of a whole one.
std::optional<MemoryCell> NumberOf(std::string_view text, char decimal_mark) {
  if (text.empty() || text.front() > '9' || IsCode(text)) return std::nullopt;
  if (auto plain = PlainNumber(text, decimal_mark)) return plain;
  if (IsWhole(text)) {
    if (text.front() == '+') text.remove_prefix(1);
    long long whole = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), whole);
    if (error != std::errc()) return std::nullopt;
    return MemoryCell{.kind = CellKind::kNumber,
                      .number_kind = NumberKind::kWhole,
                      .wide = static_cast<double>(whole),
                      .whole = whole};
  }
  const auto number = ParseNumber(text, decimal_mark);
  if (!number) return std::nullopt;
  return MemoryCell{.kind = CellKind::kNumber, .number_kind = NumberKind::kDouble, .wide = *number};
}

// Takes a number of exactly so many digits that `text` begins with.
bool TakeDigits(std::string_view& text, std::size_t count, int& number) {
  if (text.size() < count || !std::ranges::all_of(text.substr(0, count), IsDigit)) return false;
  std::from_chars(text.data(), text.data() + count, number);
  text.remove_prefix(count);
  return true;
}

bool TakeMark(std::string_view& text, char mark) {
  if (!text.starts_with(mark)) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::optional<std::int64_t> ParseTime(std::string_view text) {
  constexpr std::size_t kLeast = 10;
  constexpr std::int64_t kFirstYear = 1678;  // of those that nanoseconds reach from end to end
  constexpr std::int64_t kLastYear = 2261;
  constexpr int kHours = 24;
  constexpr int kSixty = 60;
  if (text.size() < kLeast || text[4] != '-' || text[7] != '-') return std::nullopt;
  int year = 0;
  int month = 0;
  int day = 0;
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  std::int64_t nanoseconds = 0;
  if (!TakeDigits(text, 4, year) || !TakeMark(text, '-') || !TakeDigits(text, 2, month) ||
      !TakeMark(text, '-') || !TakeDigits(text, 2, day))
    return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok() || year < kFirstYear || year > kLastYear) return std::nullopt;
  if (!text.empty()) {
    if (!TakeMark(text, ' ') && !TakeMark(text, 'T')) return std::nullopt;
    if (!TakeDigits(text, 2, hours) || !TakeMark(text, ':') || !TakeDigits(text, 2, minutes))
      return std::nullopt;
    if (TakeMark(text, ':')) {
      if (!TakeDigits(text, 2, seconds)) return std::nullopt;
      if (TakeMark(text, '.')) {
        std::int64_t unit = std::nano::den;
        if (text.empty()) return std::nullopt;
        for (; !text.empty() && IsDigit(text.front()) && unit > 1; text.remove_prefix(1))
          nanoseconds += (text.front() - '0') * (unit /= 10);
      }
    }
    if (!text.empty() || hours >= kHours || minutes >= kSixty || seconds >= kSixty)
      return std::nullopt;
  }
  const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
  const std::int64_t whole = ((days * kHours + hours) * kSixty + minutes) * kSixty + seconds;
  return whole * std::nano::den + nanoseconds;
}

TypedColumns::TypedColumns(const DenseSheet& sheet, int first_column, int first_row,
                           int last_column, const TypingRules& rules)
    : rows_(static_cast<std::size_t>(std::max(sheet.rows() - first_row + 1, 0))),
      columns_(static_cast<std::size_t>(std::max(last_column - first_column + 1, 0))),
      values_(std::make_unique_for_overwrite<Value[]>(rows_ * columns_.size())) {
  std::array<MemoryCell, kPiece> cells;
  const auto count = static_cast<int>(columns_.size());
  for (int at = 0; at < count; at += kPiece) {
    const auto piece =
        std::span(cells).first(static_cast<std::size_t>(std::min(kPiece, count - at)));
    for (std::size_t row = 0; row < rows_; ++row) {
      sheet.GetCells(first_column + at, first_row + static_cast<int>(row), piece);
      auto column = static_cast<std::size_t>(at);
      for (const MemoryCell& cell : piece) Take(column++, row, cell, rules);
    }
  }
  for (std::size_t at = 0; at < columns_.size(); ++at) {
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
