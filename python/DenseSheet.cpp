#include "python/DenseSheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <vector>

namespace nvimport {

namespace {

// Cells are looked at in pieces of rows.
constexpr int kPiece = 256;

// Whether a float is written as a double of the same value is.
bool IsWhole(float value) {
  constexpr float kFirstInexact = 16'777'216;
  return !std::isfinite(value) || (std::fabs(value) < kFirstInexact && std::trunc(value) == value);
}

void SetNumber(MemorySheet& sheet, int column, int row, const MemoryCell& cell) {
  switch (cell.number_kind) {
    case NumberKind::kFloat:
      return sheet.Set(column, row, cell.number);
    case NumberKind::kDouble:
      return sheet.SetExact(column, row, cell.wide);
    case NumberKind::kWhole:
      return sheet.SetExact(column, row, cell.whole);
  }
}

}  // namespace

void DenseSheet::Set(int column, int row, const char* text) {
  if (text == nullptr) return;
  MarkElsewhere(column, row);
  if (row > 1) last_text_column_ = std::max(last_text_column_, column);
  aside_.Set(column, row, text);
}

void DenseSheet::MarkElsewhere(int column, int row) {
  if (!InMatrix(column, row)) return;
  if (wide_ != nullptr)
    wide_[Place(column, row)] = std::bit_cast<double>(kWideElsewhere);
  else
    matrix_[Place(column, row)] = std::bit_cast<float>(kElsewhere);
}

void DenseSheet::SetAnywhere(int column, int row, float value) {
  // Sheets of texts alone need no matrix.
  if (!has_tried_) {
    MakeMatrix();
    if (InMatrix(column, row)) return Set(column, row, value);
  }
  if (InMatrix(column, row) && IsWhole(value)) {
    wide_[Place(column, row)] = static_cast<double>(value);
    return;
  }
  has_numbers_aside_ = has_numbers_aside_ || row > 1;
  MarkElsewhere(column, row);
  aside_.Set(column, row, value);
}

void DenseSheet::SetAnywhere(int column, int row, double value) {
  if (!has_tried_) MakeMatrix();
  const auto narrow = static_cast<float>(value);
  const bool is_same = static_cast<double>(narrow) == value && IsWhole(narrow);
  // The x values of spectra say nothing of these.
  const bool is_name = row == 1;
  (is_name ? has_wide_names_ : is_wide_) |= !is_same;
  if (InMatrix(column, row)) {
    if (is_same && matrix_ != nullptr) return Set(column, row, narrow);
    if (wide_ != nullptr || (!is_name && Widen())) return SetExact(column, row, value);
  }
  MarkElsewhere(column, row);
  aside_.SetExact(column, row, value);
}

void DenseSheet::SetExact(int column, int row, long long value) {
  if (IsExact(value)) return SetExact(column, row, static_cast<double>(value));
  (row == 1 ? has_wide_names_ : is_wide_) = true;
  has_numbers_aside_ = has_numbers_aside_ || row > 1;
  MarkElsewhere(column, row);
  aside_.SetExact(column, row, value);
}

bool DenseSheet::Widen() {
  const std::size_t cells = Place(width_, height_) + 1;
  const float* const from = matrix_.get();
  stays_narrow_ = stays_narrow_ || cells > most_bytes_ / sizeof(double) ||
                  !std::all_of(from, from + cells,
                               [](float value) { return IsElsewhere(value) || IsWhole(value); });
  if (stays_narrow_) return false;
  wide_ = std::make_unique_for_overwrite<double[]>(cells);
  std::transform(from, from + cells, wide_.get(), [](float value) {
    return IsElsewhere(value) ? std::bit_cast<double>(kWideElsewhere) : static_cast<double>(value);
  });
  matrix_.reset();
  return true;
}

void DenseSheet::MakeMatrix() {
  has_tried_ = true;
  const auto columns = static_cast<std::uint64_t>(Columns());
  const auto rows = static_cast<std::uint64_t>(Rows());
  const std::uint64_t cells = columns * rows;
  if (cells == 0 || cells > most_bytes_ / sizeof(float)) return;
  matrix_ = std::make_unique_for_overwrite<float[]>(cells);
  std::fill_n(matrix_.get(), cells, std::bit_cast<float>(kElsewhere));
  width_ = static_cast<int>(columns);
  height_ = static_cast<int>(rows);
}

void DenseSheet::GetCells(int column, int row, std::span<MemoryCell> cells) const {
  aside_.GetCells(column, row, cells);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const int c = column + static_cast<int>(i);
    if (!InMatrix(c, row)) break;
    if (wide_ != nullptr) {
      const double value = wide_[Place(c, row)];
      if (!IsElsewhere(value))
        cells[i] = {CellKind::kNumber, static_cast<float>(value), {}, NumberKind::kDouble, value};
    } else if (const float value = matrix_[Place(c, row)]; !IsElsewhere(value)) {
      cells[i] = {CellKind::kNumber, value, {}};
    }
  }
}

template <typename Skip, typename Take>
void DenseSheet::ForPieces(int column, int row, int width, int last_row, Skip skip,
                           Take take) const {
  std::array<MemoryCell, kPiece> cells;
  for (; row <= last_row; ++row) {
    for (int at = 0; at < width; at += kPiece) {
      const int count = std::min(kPiece, width - at);
      if (skip(column + at, row, count)) continue;
      const auto piece = std::span(cells).first(static_cast<std::size_t>(count));
      GetCells(column + at, row, piece);
      take(column + at, row, piece);
    }
  }
}

bool DenseSheet::AllInMatrix(int column, int row, int count) const {
  if (!InMatrix(column, row) || !InMatrix(column + count - 1, row)) return false;
  const auto all = [&](const auto* from) {
    return std::none_of(from, from + count, [](auto value) { return IsElsewhere(value); });
  };
  const std::size_t place = Place(column, row);
  return wide_ != nullptr ? all(&wide_[place]) : all(&matrix_[place]);
}

template <typename Number>
void DenseSheet::GetNumbers(int column, int row, int width, std::span<Number> numbers,
                            bool reads_texts, char decimal_mark) const {
  if (width == 0) return;
  Number* place = numbers.data();
  const int last_row = row + static_cast<int>(numbers.size()) / width - 1;
  const auto copies = [&](int first, int at_row, int count) {
    if (!AllInMatrix(first, at_row, count)) return false;
    const std::size_t from = Place(first, at_row);
    const auto narrow = [](auto value) { return static_cast<Number>(value); };
    place = wide_ != nullptr
                ? std::transform(&wide_[from], &wide_[from] + count, place, narrow)
                : std::transform(&matrix_[from], &matrix_[from] + count, place, narrow);
    return true;
  };
  ForPieces(column, row, width, last_row, copies, [&](int, int, std::span<const MemoryCell> cells) {
    for (const MemoryCell& cell : cells) {
      *place = cell.kind == CellKind::kNumber ? static_cast<Number>(cell.exact()) : kNan;
      if (cell.kind == CellKind::kText && reads_texts)
        if (const auto number = ParseNumber(cell.text, decimal_mark))
          *place = static_cast<Number>(*number);
      ++place;
    }
  });
}
template void DenseSheet::GetNumbers(int, int, int, std::span<float>, bool, char) const;
template void DenseSheet::GetNumbers(int, int, int, std::span<double>, bool, char) const;

void DenseSheet::GetDoubles(int column, int row, std::span<double> numbers, char decimal_mark,
                            std::span<bool> words) const {
  if (words.empty()) return;
  double* place = numbers.data();
  const int last_row = row + static_cast<int>(numbers.size() / words.size()) - 1;
  const auto never = [](int, int, int) { return false; };
  ForPieces(column, row, static_cast<int>(words.size()), last_row, never,
            [&](int first, int, std::span<const MemoryCell> cells) {
              bool* word = &words[static_cast<std::size_t>(first - column)];
              for (const MemoryCell& cell : cells) {
                *place = cell.kind == CellKind::kNumber ? cell.exact() : kWideNan;
                if (cell.kind == CellKind::kText && !*word) {
                  if (const auto number = ParseNumber(cell.text, decimal_mark))
                    *place = *number;
                  else
                    *word = cell.text.find_first_not_of(' ') != std::string_view::npos;
                }
                ++place;
                ++word;
              }
            });
}

void DenseSheet::FindTexts(int first_row, std::span<bool> columns) const {
  std::ranges::fill(columns, false);
  auto missing = static_cast<std::ptrdiff_t>(columns.size());
  const auto passes = [&](int first, int row, int count) {
    return missing == 0 || AllInMatrix(first, row, count);
  };
  ForPieces(1, first_row, static_cast<int>(columns.size()), Rows(), passes,
            [&](int first, int, std::span<const MemoryCell> cells) {
              bool* column = &columns[static_cast<std::size_t>(first - 1)];
              for (const MemoryCell& cell : cells) {
                if (cell.kind == CellKind::kText && !*column) {
                  *column = true;
                  --missing;
                }
                ++column;
              }
            });
}

bool DenseSheet::IsInThere(int first_column, int first_row, int last_column) const {
  if (first_row < 2 || first_column <= last_text_column_ || Rows() > height_) return false;
  return InMatrix(first_column, first_row) && last_column <= width_;
}

const float* DenseSheet::FindMatrix(int first_column, int first_row, int last_column) const {
  const bool is_there = !is_wide_ && IsInThere(first_column, first_row, last_column);
  return is_there ? &matrix_[Place(first_column, first_row)] : nullptr;
}

const double* DenseSheet::FindWideMatrix(int first_column, int first_row, int last_column) const {
  const bool is_there = wide_ != nullptr && IsInThere(first_column, first_row, last_column);
  return is_there && !has_numbers_aside_ ? &wide_[Place(first_column, first_row)] : nullptr;
}

std::optional<SpectraAxis> DenseSheet::FindAxis(char decimal_mark) const {
  if (Rows() < 1) return std::nullopt;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(Columns()));
  GetCells(1, 1, cells);
  return FindSpectraAxis(cells, decimal_mark);
}

void DenseSheet::CopyTo(MemorySheet& sheet) const {
  sheet.SetDataSize(Columns(), Rows());
  const auto never = [](int, int, int) { return false; };
  ForPieces(1, 1, Columns(), Rows(), never,
            [&](int column, int row, std::span<const MemoryCell> cells) {
              for (const MemoryCell& cell : cells) {
                if (cell.kind == CellKind::kNumber) SetNumber(sheet, column, row, cell);
                if (cell.kind == CellKind::kText) sheet.Set(column, row, cell.text.data());
                ++column;
              }
            });
}

}  // namespace nvimport
