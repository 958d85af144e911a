#include "python/DenseSheet.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

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

void DenseSheet::GetNumbers(int column, int row, std::span<float> numbers, bool reads_texts,
                            char decimal_mark) const {
  std::array<MemoryCell, kPiece> cells;
  const std::size_t in_matrix =
      InMatrix(column, row)
          ? std::min(numbers.size(), static_cast<std::size_t>(width_ - column + 1))
          : 0;
  for (std::size_t at = 0; at < numbers.size(); at += kPiece) {
    const auto piece = numbers.subspan(at, std::min<std::size_t>(kPiece, numbers.size() - at));
    const int first = column + static_cast<int>(at);
    if (at + piece.size() <= in_matrix) {
      const float* from = &matrix_[Place(first, row)];
      std::copy_n(from, piece.size(), piece.begin());
      if (std::none_of(piece.begin(), piece.end(), IsElsewhere)) continue;
    }
    const auto here = std::span(cells).first(piece.size());
    GetCells(first, row, here);
    for (std::size_t i = 0; i < piece.size(); ++i) {
      piece[i] = here[i].kind == CellKind::kNumber ? here[i].number : kNan;
      if (here[i].kind != CellKind::kText || !reads_texts) continue;
      if (const auto number = ParseNumber(here[i].text, decimal_mark))
        piece[i] = static_cast<float>(*number);
    }
  }
}

void DenseSheet::GetDoubles(int column, int row, std::span<double> numbers, char decimal_mark,
                            std::span<bool> words) const {
  std::array<MemoryCell, kPiece> cells;
  for (std::size_t at = 0; at < numbers.size(); at += kPiece) {
    const auto here = std::span(cells).first(std::min<std::size_t>(kPiece, numbers.size() - at));
    GetCells(column + static_cast<int>(at), row, here);
    for (std::size_t i = 0; i < here.size(); ++i) {
      double& number = numbers[at + i];
      number = here[i].kind == CellKind::kNumber ? static_cast<double>(here[i].number)
                                                 : std::numeric_limits<double>::quiet_NaN();
      if (here[i].kind != CellKind::kText || words[at + i]) continue;
      if (const auto read = ParseNumber(here[i].text, decimal_mark))
        number = *read;
      else
        words[at + i] = here[i].text.find_first_not_of(' ') != std::string_view::npos;
    }
  }
}

void DenseSheet::FindTexts(int first_row, std::span<bool> columns) const {
  std::ranges::fill(columns, false);
  std::array<MemoryCell, kPiece> cells;
  const int rows = Rows();
  auto missing = static_cast<std::ptrdiff_t>(columns.size());
  for (int row = first_row; row <= rows && missing > 0; ++row) {
    for (std::size_t at = 0; at < columns.size(); at += kPiece) {
      const auto piece = columns.subspan(at, std::min<std::size_t>(kPiece, columns.size() - at));
      const int first = static_cast<int>(at) + 1;
      if (InMatrix(first + static_cast<int>(piece.size()) - 1, row)) {
        const float* from = &matrix_[Place(first, row)];
        if (std::none_of(from, from + piece.size(), IsElsewhere)) continue;
      }
      const auto here = std::span(cells).first(piece.size());
      GetCells(first, row, here);
      for (std::size_t i = 0; i < piece.size(); ++i) {
        if (piece[i] || here[i].kind != CellKind::kText) continue;
        piece[i] = true;
        --missing;
      }
    }
  }
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
  std::array<MemoryCell, kPiece> cells;
  for (int row = 1; row <= Rows(); ++row) {
    for (int column = 1; column <= Columns(); column += kPiece) {
      const auto count = static_cast<std::size_t>(std::min(kPiece, Columns() - column + 1));
      GetCells(column, row, std::span(cells).first(count));
      for (std::size_t i = 0; i < count; ++i) {
        const int at = column + static_cast<int>(i);
        if (cells[i].kind == CellKind::kNumber) sheet.Set(at, row, cells[i].number);
        if (cells[i].kind == CellKind::kText) sheet.Set(at, row, cells[i].text.data());
      }
    }
  }
}
