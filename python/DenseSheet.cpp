#include "python/DenseSheet.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace nvimport {

namespace {

// Cells are looked at in pieces of rows.
constexpr int kPiece = 256;

}  // namespace

void DenseSheet::Set(int column, int row, const char* text) {
  if (text == nullptr) return;
  if (InMatrix(column, row)) matrix_[Place(column, row)] = std::bit_cast<float>(kElsewhere);
  if (row > 1) last_text_column_ = std::max(last_text_column_, column);
  aside_.Set(column, row, text);
}

void DenseSheet::SetElsewhere(int column, int row, float value) {
  // Sheets of texts alone need no matrix.
  if (!has_tried_) {
    MakeMatrix();
    if (InMatrix(column, row)) return Set(column, row, value);
  }
  aside_.Set(column, row, value);
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
    const float value = matrix_[Place(c, row)];
    if (!IsElsewhere(value)) cells[i] = {CellKind::kNumber, value, {}};
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
  const float* from = &matrix_[Place(column, row)];
  return std::none_of(from, from + count, IsElsewhere);
}

void DenseSheet::GetNumbers(int column, int row, int width, std::span<float> numbers,
                            bool reads_texts, char decimal_mark) const {
  if (width == 0) return;
  float* place = numbers.data();
  const int last_row = row + static_cast<int>(numbers.size()) / width - 1;
  const auto copies = [&](int first, int at_row, int count) {
    if (!AllInMatrix(first, at_row, count)) return false;
    place = std::copy_n(&matrix_[Place(first, at_row)], count, place);
    return true;
  };
  ForPieces(column, row, width, last_row, copies, [&](int, int, std::span<const MemoryCell> cells) {
    for (const MemoryCell& cell : cells) {
      *place = cell.kind == CellKind::kNumber ? cell.number : kNan;
      if (cell.kind == CellKind::kText && reads_texts)
        if (const auto number = ParseNumber(cell.text, decimal_mark))
          *place = static_cast<float>(*number);
      ++place;
    }
  });
}

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
                *place = cell.kind == CellKind::kNumber ? static_cast<double>(cell.number)
                                                        : static_cast<double>(kNan);
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

const float* DenseSheet::FindMatrix(int first_column, int first_row, int last_column) const {
  if (first_row < 2 || first_column <= last_text_column_ || Rows() > height_) return nullptr;
  if (!InMatrix(first_column, first_row) || last_column > width_) return nullptr;
  return &matrix_[Place(first_column, first_row)];
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
                if (cell.kind == CellKind::kNumber) sheet.Set(column, row, cell.number);
                if (cell.kind == CellKind::kText) sheet.Set(column, row, cell.text.data());
                ++column;
              }
            });
}

}  // namespace nvimport
