#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/hosting/import/Sheets.h"

namespace nvimport {

// A sheet whose numbers lie in one matrix, row by row, so that an array can show them where they
// are. Texts, and numbers that the matrix has no room for, lie in a MemorySheet beside it.
class DenseSheet final : public ReadOnlySheet {
 public:
  // A size announced that needs more bytes than that gets no matrix: it is a file's claim.
  explicit DenseSheet(std::uint64_t most_bytes) : most_bytes_(most_bytes) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, float value) override {
    if (InMatrix(column, row))
      matrix_[Place(column, row)] = IsElsewhere(value) ? kNan : value;
    else
      SetElsewhere(column, row, value);
  }
  void SetDataSize(int columns, int rows) override { aside_.SetDataSize(columns, rows); }
  int GetNumberOfColumns() override { return aside_.GetNumberOfColumns(); }
  int GetNumberOfRows() override { return aside_.GetNumberOfRows(); }

  // The cells of a row from a column on, as many as there is room for.
  void GetCells(int column, int row, std::span<MemoryCell> cells) const;

  // The numbers of `width` columns from a column and a row on, row by row, as many as there is room
  // for; texts as the numbers that they read as where `reads_texts`, everything else NaN.
  void GetNumbers(int column, int row, int width, std::span<float> numbers, bool reads_texts,
                  char decimal_mark) const;

  // The same with all the digits of texts; a column's `words` become true where one of its texts is
  // neither a number nor empty.
  void GetDoubles(int column, int row, std::span<double> numbers, char decimal_mark,
                  std::span<bool> words) const;

  // Which of the first columns hold a text, from `first_row` on.
  void FindTexts(int first_row, std::span<bool> columns) const;

  // The numbers from there on as they lie in the matrix, a row after GetMatrixWidth more; null
  // where some of them lie elsewhere.
  const float* FindMatrix(int first_column, int first_row, int last_column) const;
  int GetMatrixWidth() const { return width_; }

  std::optional<SpectraAxis> FindAxis(char decimal_mark) const;

  // Copies every cell.
  void CopyTo(MemorySheet& sheet) const;

 private:
  // What the matrix holds where it holds no number: a NaN that no reader can set.
  static constexpr std::uint32_t kElsewhere = 0xffffffff;
  static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

  static bool IsElsewhere(float value) { return std::bit_cast<std::uint32_t>(value) == kElsewhere; }
  bool InMatrix(int column, int row) const {
    return static_cast<unsigned>(column - 1) < static_cast<unsigned>(width_) &&
           static_cast<unsigned>(row - 1) < static_cast<unsigned>(height_);
  }
  std::size_t Place(int column, int row) const {
    return static_cast<std::size_t>(row - 1) * static_cast<std::size_t>(width_) +
           static_cast<std::size_t>(column - 1);
  }
  void SetElsewhere(int column, int row, float value);
  bool AllInMatrix(int column, int row, int count) const;
  // Calls `take` with the first column, the row and the cells of each piece of the rows from there
  // on, unless `skip`, with the same column and row and the number of cells, says that it is done.
  template <typename Skip, typename Take>
  void ForPieces(int column, int row, int width, int last_row, Skip skip, Take take) const;
  void MakeMatrix();
  int Rows() const { return const_cast<MemorySheet&>(aside_).GetNumberOfRows(); }
  int Columns() const { return const_cast<MemorySheet&>(aside_).GetNumberOfColumns(); }

  std::uint64_t most_bytes_;
  bool has_tried_ = false;  // to make the matrix
  int width_ = 0;
  int height_ = 0;
  std::unique_ptr<float[]> matrix_;
  MemorySheet aside_;
  int last_text_column_ = 0;  // below the first row
};

}  // namespace nvimport
