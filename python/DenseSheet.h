#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/hosting/calls/Calls.h"

namespace nvimport {

// Whether two cells are the same, NaN being the same as NaN.
bool IsSame(const MemoryCell& a, const MemoryCell& b);

// A sheet whose numbers lie in one matrix, row by row, so that an array can show them where they
// are. Texts, and numbers that the matrix has no room for, lie in a MemorySheet beside it.
class DenseSheet final : public CallSheet {
 public:
  // A size announced that needs more bytes than that gets no matrix: it is a file's claim.
  explicit DenseSheet(std::uint64_t most_bytes) : most_bytes_(most_bytes) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override {
    if (InMatrix(column, row) && wide_.empty())
      matrix_[Place(column, row)] = IsElsewhere(value) ? kNan : value;
    else
      SetAnywhere(column, row, value);
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (InMatrix(column, row) && !wide_.empty())
      wide_[Place(column, row)] = IsElsewhere(value) ? kWideNan : value;
    else
      SetAnywhere(column, row, value);
  }
  void SetExact(int column, int row, long long value) override;
  void SetDataSize(int columns, int rows) override { aside_.SetDataSize(columns, rows); }
  // All cells are there; the last rows and columns may have none.
  void Finish() { Extend(width_, Rows()); }
  int GetNumberOfColumns() override { return aside_.GetNumberOfColumns(); }
  int GetNumberOfRows() override { return aside_.GetNumberOfRows(); }

  int rows() const { return Rows(); }
  int columns() const { return Columns(); }

  // The cells of a row from a column on, as many as there is room for.
  void GetCells(int column, int row, std::span<MemoryCell> cells) const;

  // Whether some number is more than a float, from a row on and in these columns.
  bool IsWide(int first_column, int first_row, int last_column) const;

  // Whether there are whole numbers that no double holds.
  bool has_large() const { return has_large_; }

  // Whether every cell is the same.
  bool Equals(const DenseSheet& other) const;

  // What makes the sheet again: the matrix as it lies, of floats or doubles, and the rest as bytes.
  struct State {
    std::span<const float> floats;
    std::span<const double> doubles;
    std::string rest;
  };
  State GetState() const;
  // False for what no sheet has given.
  bool SetState(const State& state);

  // The numbers of `width` columns from a column and a row on, row by row, as many as there is room
  // for; texts as the numbers that they read as where `reads_texts`, everything else NaN.
  template <typename Number>
  void GetNumbers(int column, int row, int width, std::span<Number> numbers, bool reads_texts,
                  char decimal_mark) const;

  // The same with all the digits of texts; a column's `words` become true where one of its texts is
  // neither a number nor empty.
  void GetDoubles(int column, int row, std::span<double> numbers, char decimal_mark,
                  std::span<bool> words) const;

  // Whether there may be a text among the cells from a column and a row on.
  bool MayHoldTexts(int column, int row) const { return row < 2 || column <= last_text_column_; }

  // Which of the first columns hold a text, from `first_row` on.
  void FindTexts(int first_row, std::span<bool> columns) const;
  // The same of texts that are neither numbers nor empty.
  void FindWords(int first_row, char decimal_mark, std::span<bool> columns) const;

  // The numbers from there on as they lie in the matrix, a row after GetMatrixWidth more; null
  // where some of them lie elsewhere, or are of the other width.
  const float* FindMatrix(int first_column, int first_row, int last_column) const;
  const double* FindWideMatrix(int first_column, int first_row, int last_column) const;
  int GetMatrixWidth() const { return width_; }

  std::optional<SpectraAxis> FindAxis(char decimal_mark) const;

  // Copies every cell.
  void CopyTo(MemorySheet& sheet) const;

 private:
  // What the matrix holds where it holds no number: a NaN that no reader can set.
  static constexpr std::uint32_t kElsewhere = 0xffffffff;
  static constexpr std::uint64_t kWideElsewhere = 0xffffffffffffffff;
  static constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  static constexpr double kWideNan = std::numeric_limits<double>::quiet_NaN();

  static bool IsElsewhere(float value) { return std::bit_cast<std::uint32_t>(value) == kElsewhere; }
  static bool IsElsewhere(double value) {
    return std::bit_cast<std::uint64_t>(value) == kWideElsewhere;
  }
  bool InMatrix(int column, int row) const {
    return static_cast<unsigned>(column - 1) < static_cast<unsigned>(width_) &&
           static_cast<unsigned>(row - 1) < static_cast<unsigned>(height_);
  }
  bool IsElsewhereAt(int column, int row) const {
    return wide_.empty() ? IsElsewhere(matrix_[Place(column, row)])
                         : IsElsewhere(wide_[Place(column, row)]);
  }
  std::size_t Place(int column, int row) const {
    return static_cast<std::size_t>(row - 1) * static_cast<std::size_t>(width_) +
           static_cast<std::size_t>(column - 1);
  }
  std::uint64_t CellsOf(int rows) const {
    return static_cast<std::uint64_t>(width_) * static_cast<std::uint64_t>(rows);
  }
  // Numbers of the matrix's other kind, and those outside of it.
  void SetAnywhere(int column, int row, float value);
  void SetAnywhere(int column, int row, double value);
  bool IsInThere(int first_column, int first_row, int last_column) const;
  bool IsAnyAside(int first_column, int row, int last_column) const;
  template <typename IsIt>
  void FindCells(int first_row, std::span<bool> columns, IsIt is_it) const;
  // Makes the matrix one of doubles, where that changes no number in it.
  bool Widen();
  // Makes room for rows up to that one; false where the cell has its place elsewhere.
  bool Extend(int column, int row);
  void MarkElsewhere(int column, int row);
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
  std::vector<float> matrix_;  // or
  std::vector<double> wide_;
  std::vector<bool> exact_columns_;  // whose numbers came as doubles, if all are floats as well
  bool stays_narrow_ = false;
  bool has_numbers_aside_ = false;  // below the first row, of another kind than the matrix
  bool is_wide_ = false;            // some number below the first row is
  bool has_wide_names_ = false;     // one in the first row
  bool has_large_ = false;
  MemorySheet aside_;
  int last_text_column_ = 0;  // below the first row
};

}  // namespace nvimport
