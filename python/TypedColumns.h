#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "python/DenseSheet.h"

namespace nvimport {

// What texts count as, where a column has a type.
struct TypingRules {
  char decimal_mark = '.';
  std::set<std::string, std::less<>> missing{};  // these, and those of blanks alone
};

// What all cells of a column are that are not missing. Texts are whole numbers, doubles or times
// where all read as such, but for codes like "007"; cells of numbers, beside words, are mixed.
enum class ColumnType : char { kDouble, kWhole, kTime, kText, kMixed };

// Columns of a sheet below a row, each of one type. Values lie column by column.
class TypedColumns {
 public:
  TypedColumns(const DenseSheet& sheet, int first_column, int first_row, int last_column,
               const TypingRules& rules);

  std::size_t rows() const { return rows_; }
  std::size_t size() const { return columns_.size(); }
  ColumnType type(std::size_t column) const { return columns_[column].type; }
  // Whether it has floats, and nothing wider.
  bool is_narrow(std::size_t column) const {
    const Column& one = columns_[column];
    return one.type == ColumnType::kDouble && one.has_floats && !one.has_doubles && !one.has_wholes;
  }

  // Of doubles, of 64-bit whole numbers, or of nanoseconds since 1970; NaN, zero or the least there
  // is where a cell is missing.
  const double* doubles(std::size_t column) const { return &values_[column * rows_].number; }
  const std::int64_t* wholes(std::size_t column) const { return &values_[column * rows_].whole; }
  // A true one for each cell that is missing; empty where none is.
  std::span<const std::uint8_t> missing(std::size_t column) const {
    return columns_[column].missing;
  }
  // Of a column of texts, the one of the sheet in a row; null where the cell is missing.
  const char* text(std::size_t column, std::size_t row) const {
    return values_[column * rows_ + row].text;
  }

 private:
  union Value {
    double number;
    std::int64_t whole;
    const char* text;
  };
  struct Column {
    ColumnType type = ColumnType::kDouble;
    bool has_numbers = false;  // cells, of any kind
    bool has_floats = false;   // cells
    bool has_doubles = false;  // cells, or texts with a fraction
    bool has_wholes = false;   // texts, or cells of whole numbers that no double holds
    bool has_large = false;    // of these
    bool has_times = false;
    bool has_words = false;
    std::size_t first_word = 0;  // if any, the row
    std::vector<std::uint8_t> missing{};
  };

  // Those from `begin` to before `end`, which may be done beside others.
  void TakeColumns(const DenseSheet& sheet, int first_column, int first_row, std::size_t begin,
                   std::size_t end, const TypingRules& rules);
  void Take(std::size_t at, std::size_t row, const MemoryCell& cell, const TypingRules& rules);
  void TakeText(std::size_t at, std::size_t row, std::string_view text, const TypingRules& rules);
  void SetMissing(std::size_t at, std::size_t row);
  void SetTimes(std::size_t at);
  // `whole` gives those that no double holds.
  template <typename Whole>
  void SetWholes(std::size_t at, const Whole& whole);
  // `cell` gives those in front of the first word.
  template <typename Cell>
  void SetTexts(std::size_t at, const Cell& cell);

  std::size_t rows_;
  std::vector<Column> columns_;
  std::unique_ptr<Value[]> values_;
};

}  // namespace nvimport
