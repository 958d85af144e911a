#pragma once

#include <cpp11/R.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Column.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/calls/Calls.h"

namespace nvimport {

// Spectra of the same x values, in a matrix of R's that is made when the first of them are there.
// They are written a few rows at a time, so that each line of memory is written at once.
class SpectraMatrix {
 public:
  explicit SpectraMatrix(std::vector<double> x) : x_(std::move(x)) {}
  SpectraMatrix(const SpectraMatrix&) = delete;
  SpectraMatrix& operator=(const SpectraMatrix&) = delete;
  ~SpectraMatrix();

  const std::vector<double>& x() const { return x_; }
  R_xlen_t rows() const { return written_ + held_; }

  // The values of the row to come, all missing, and what makes it one of the rows.
  double* NewRow();
  void KeepRow() { ++held_; }
  // Takes back those behind so many.
  void CutTo(R_xlen_t rows);
  // How many rows there will be, as far as that is known; room for more is made when they come.
  void Expect(R_xlen_t rows) { expected_ = rows; }

  // Whether R gave no room, and whether that was an interrupt.
  bool is_full() const { return is_full_; }
  bool is_interrupted() const { return is_interrupted_; }
  // The matrix.
  SEXP Finish();

 private:
  static constexpr R_xlen_t kHeld = 16;

  bool MakeRoom(R_xlen_t rows);
  void Write();

  std::vector<double> x_;
  std::vector<double> strip_;  // rows that are not in the matrix yet
  R_xlen_t held_ = 0;          // there
  R_xlen_t written_ = 0;
  R_xlen_t expected_ = 0;
  R_xlen_t room_ = 0;
  SEXP matrix_ = nullptr;
  bool is_full_ = false;
  bool is_interrupted_ = false;
};

// The spectra of any number of files: a matrix for each axis, and a table of what else is known of
// each.
class SpectraTable {
 public:
  explicit SpectraTable(const ColumnTyping& typing) : typing_(typing) {}

  struct Axis {
    std::unique_ptr<SpectraMatrix> matrix;
    std::vector<int> rows;  // of the table, from 1
  };

  // The matrix for these x values.
  std::size_t AxisOf(const std::vector<double>& x);
  SpectraMatrix& matrix(std::size_t axis) { return *axes_[axis].matrix; }
  std::vector<Axis>& axes() { return axes_; }
  const ColumnTyping& typing() const { return typing_; }

  int rows() const { return static_cast<int>(names_.size()); }
  // Adds a spectrum, the last one of an axis, and returns its row from 0.
  int Add(std::size_t axis, std::string name, int file);
  const std::vector<std::string>& names() const { return names_; }
  const std::vector<int>& files() const { return files_; }
  // The column of that name.
  Column& At(const std::string& name);
  std::vector<std::pair<std::string, Column>>& columns() { return columns_; }

 private:
  const ColumnTyping& typing_;
  std::vector<Axis> axes_;
  std::vector<std::string> names_;
  std::vector<int> files_;  // from 1
  std::vector<std::pair<std::string, Column>> columns_;
  std::unordered_map<std::string, std::size_t> places_;
};

// Takes the sheet of a file of spectra: those into the table, everything else apart.
class SpectraSheet final : public CallSheet {
 public:
  // `files_left` counts this one.
  SpectraSheet(SpectraTable& table, int files_left) : table_(table), files_left_(files_left) {}

  // Comes before the first cell. Without x values all cells stay apart until the end.
  void Begin(const ReadResult& read, bool may_be_in_order, std::uint64_t file_bytes);

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override {
    if (IsSpectrum(column, row))
      SetValue(column, row, value);
    else
      apart_.Set(column, row, value);
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (IsSpectrum(column, row))
      SetValue(column, row, value);
    else
      apart_.SetExact(column, row, value);
  }
  void SetExact(int column, int row, long long value) override {
    if (IsSpectrum(column, row))
      SetValue(column, row, static_cast<double>(value));
    else
      apart_.SetExact(column, row, value);
  }

  // The rows did not come one behind the other: the sheet has to be read again, all of it apart.
  bool is_out_of_order() const { return is_out_of_order_; }
  bool is_full() const { return axis_ && table_.matrix(*axis_).is_full(); }
  bool is_interrupted() const { return axis_ && table_.matrix(*axis_).is_interrupted(); }

  // Adds the spectra of the file, by number from 1; false where there are no x values.
  bool Finish(const ReadResult& read, int file);
  // Takes back what has come.
  void Undo();

 private:
  bool IsSpectrum(int column, int row) const {
    return static_cast<unsigned>(column - first_column_) < static_cast<unsigned>(width_) &&
           row >= first_row_;
  }
  void SetValue(int column, int row, double value) {
    if (row != row_ && !Turn(row)) return;
    values_[column - first_column_] = value;
    has_value_ = true;
  }
  // Ends the spectrum before and begins the one in that row.
  bool Turn(int row);
  void EndRow();
  void Expect();
  // Of cells that stayed apart.
  bool TakeApart(const ReadResult& read, int columns, int rows);
  void AddRows(const ReadResult& read, int columns, int file);

  SpectraTable& table_;
  int files_left_;
  std::uint64_t file_bytes_ = 0;
  int announced_ = 0;
  std::optional<std::size_t> axis_;
  R_xlen_t before_ = 0;  // rows of the matrix
  int first_column_ = 1;
  int width_ = 0;
  int first_row_ = 2;
  int row_ = 0;
  double* values_ = nullptr;  // of that row
  bool has_value_ = false;
  bool is_out_of_order_ = false;
  std::vector<int> rows_;  // of the file, with a spectrum
  int dropped_ = 0;        // without one
  MemorySheet apart_;
};

}  // namespace nvimport
