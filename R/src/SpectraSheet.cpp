#include "SpectraSheet.h"

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <cpp11/protect.hpp>
#include <cpp11/sexp.hpp>
#include <cstdint>
#include <cstring>
#include <map>

#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

// What R gives without leaving the library's functions by a jump.
struct Room {
  R_xlen_t values;
  SEXP made = nullptr;
  bool is_interrupted = false;  // R looks for interrupts when it makes room
};

SEXP Make(void* data) {
  auto* const asked = static_cast<Room*>(data);
  const SEXP made = PROTECT(Rf_allocVector(REALSXP, asked->values));
  R_PreserveObject(made);
  UNPROTECT(1);
  asked->made = made;
  return R_NilValue;
}

Room MakeMatrix(R_xlen_t values) {
  Room room{values};
  const auto make = [](void* data) {
    const SEXP interrupt = PROTECT(Rf_mkString("interrupt"));
    const auto note = [](SEXP, void* interrupted) {
      static_cast<Room*>(interrupted)->is_interrupted = true;
      return R_NilValue;
    };
    R_tryCatch(&Make, data, interrupt, note, data, nullptr, nullptr);
    UNPROTECT(1);
  };
  R_ToplevelExec(make, &room);
  return room;
}

// A strip of rows touches every column of the matrix, and each of those lies in a page of its own:
// large pages, where the system has them, make that a fifth quicker.
void AskForLargePages([[maybe_unused]] double* values, [[maybe_unused]] R_xlen_t count) {
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kPage = 1 << 21;
  const auto begin = (reinterpret_cast<std::uintptr_t>(values) + kPage - 1) & ~(kPage - 1);
  const auto end = reinterpret_cast<std::uintptr_t>(values + count) & ~(kPage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

std::string TextOf(const MemoryCell& cell) {
  FloatText buffer;
  if (cell.kind == CellKind::kNumber) return std::string(FormatNumber(cell, buffer));
  return std::string(cell.text);
}

void Put(Column& column, int row, const MemoryCell& cell, const ColumnTyping& typing) {
  if (cell.kind == CellKind::kText)
    column.SetText(row, cell.text, typing);
  else if (cell.kind == CellKind::kNumber && cell.number_kind == NumberKind::kWhole)
    column.SetText(row, TextOf(cell), typing);
  else if (cell.kind == CellKind::kNumber)
    column.SetNumber(row, cell.exact(), cell.number_kind == NumberKind::kFloat);
}

}  // namespace

SpectraMatrix::~SpectraMatrix() {
  if (matrix_ != nullptr) R_ReleaseObject(matrix_);
}

double* SpectraMatrix::NewRow() {
  if (held_ == kHeld) Write();
  strip_.resize(x_.size() * static_cast<std::size_t>(kHeld));
  double* const row = &strip_[static_cast<std::size_t>(held_) * x_.size()];
  std::fill_n(row, x_.size(), NA_REAL);
  return row;
}

void SpectraMatrix::CutTo(R_xlen_t rows) {
  held_ = std::max<R_xlen_t>(rows - written_, 0);
  written_ = std::min(written_, rows);
}

bool SpectraMatrix::MakeRoom(R_xlen_t rows) {
  if (rows <= room_) return true;
  const R_xlen_t room =
      matrix_ == nullptr ? std::max(rows, expected_) : std::max({rows, expected_, 2 * room_});
  const auto points = static_cast<R_xlen_t>(x_.size());
  const Room taken = MakeMatrix(room * points);
  const SEXP made = taken.made;
  if (made == nullptr) {
    is_full_ = true;
    is_interrupted_ = taken.is_interrupted;
    return false;
  }
  AskForLargePages(REAL(made), room * points);
  for (R_xlen_t i = 0; matrix_ != nullptr && i < points; ++i)
    std::copy_n(REAL(matrix_) + i * room_, written_, REAL(made) + i * room);
  if (matrix_ != nullptr) R_ReleaseObject(matrix_);
  matrix_ = made;
  room_ = room;
  return true;
}

void SpectraMatrix::Write() {
  if (is_full_ || !MakeRoom(written_ + held_)) {
    held_ = 0;
    return;
  }
  const auto points = static_cast<R_xlen_t>(x_.size());
  double* to = REAL(matrix_) + written_;
  for (R_xlen_t i = 0; i < points; ++i, to += room_) {
    const double* from = &strip_[static_cast<std::size_t>(i)];
    for (R_xlen_t row = 0; row < held_; ++row, from += points) to[row] = *from;
  }
  written_ += held_;
  held_ = 0;
}

SEXP SpectraMatrix::Finish() {
  expected_ = rows();
  if (held_ > 0) Write();
  const auto points = static_cast<R_xlen_t>(x_.size());
  cpp11::sexp made = matrix_ != nullptr && room_ == written_
                         ? cpp11::sexp(matrix_)
                         : cpp11::sexp(cpp11::safe[Rf_allocVector](REALSXP, written_ * points));
  if (made != matrix_)
    for (R_xlen_t i = 0; i < points && written_ > 0; ++i)
      std::copy_n(REAL(matrix_) + i * room_, written_, REAL(made) + i * written_);
  strip_ = {};
  const cpp11::sexp size = cpp11::safe[Rf_allocVector](INTSXP, 2);
  INTEGER(size)[0] = static_cast<int>(written_);
  INTEGER(size)[1] = static_cast<int>(points);
  cpp11::safe[Rf_setAttrib](made, R_DimSymbol, size);
  return made;
}

std::size_t SpectraTable::AxisOf(const std::vector<double>& x) {
  for (std::size_t i = axes_.size(); i-- > 0;)
    if (axes_[i].matrix->x() == x) return i;
  axes_.push_back({std::make_unique<SpectraMatrix>(x), {}});
  return axes_.size() - 1;
}

int SpectraTable::Add(std::size_t axis, std::string name, int file) {
  names_.push_back(std::move(name));
  files_.push_back(file);
  axes_[axis].rows.push_back(rows());
  return rows() - 1;
}

Column& SpectraTable::At(const std::string& name) {
  const auto [place, is_new] = places_.try_emplace(name, columns_.size());
  if (is_new) columns_.emplace_back(name, Column());
  return columns_[place->second].second;
}

void SpectraSheet::Begin(const ReadResult& read, bool may_be_in_order, std::uint64_t file_bytes) {
  if (!may_be_in_order || read.x.size() < 2 || axis_) return;
  file_bytes_ = file_bytes;
  first_column_ = read.first_x_column;
  width_ = static_cast<int>(read.x.size());
  first_row_ = read.has_x_row ? 3 : 2;
  announced_ = std::max(read.rows - first_row_ + 1, 0);
  axis_ = table_.AxisOf(read.x);
  before_ = table_.matrix(*axis_).rows();
}

// A size is a claim: room is made for no more than the bytes of the files can mean.
void SpectraSheet::Expect() {
  constexpr std::uint64_t kAnyFile = 1 << 20;
  constexpr std::uint64_t kPerByte = 4;
  const std::uint64_t most =
      (kAnyFile + kPerByte * file_bytes_) / (sizeof(double) * static_cast<std::uint64_t>(width_));
  const auto rows = static_cast<std::uint64_t>(std::max(announced_ - dropped_, 0));
  const auto each = static_cast<R_xlen_t>(std::min(rows, most));
  table_.matrix(*axis_).Expect(before_ + each * files_left_);
}

void SpectraSheet::EndRow() {
  if (row_ == 0) return;
  if (has_value_) {
    table_.matrix(*axis_).KeepRow();
    rows_.push_back(row_);
  } else {
    ++dropped_;
  }
  has_value_ = false;
}

bool SpectraSheet::Turn(int row) {
  if (is_out_of_order_ || is_full()) return false;
  if (row < row_) {
    is_out_of_order_ = true;
    return false;
  }
  EndRow();
  // Rows between have no spectrum.
  dropped_ += row - std::max(row_ + 1, first_row_);
  Expect();
  values_ = table_.matrix(*axis_).NewRow();
  row_ = row;
  return true;
}

void SpectraSheet::Set(int column, int row, const char* text) {
  if (text != nullptr) Set(column, row, text, std::strlen(text));
}

void SpectraSheet::Set(int column, int row, const char* text, std::size_t length) {
  const std::string_view shown(text, length);
  if (!IsSpectrum(column, row)) return apart_.SetText(column, row, shown);
  if (const auto number = ParseNumber(shown, table_.typing().decimal_mark))
    SetValue(column, row, *number);
}

bool SpectraSheet::TakeApart(const ReadResult& read, int columns, int rows) {
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  std::vector<double> x = read.x;
  if (x.size() >= 2) {
    first_column_ = read.first_x_column;
    first_row_ = read.has_x_row ? 3 : 2;
  } else {
    apart_.GetCells(1, 1, cells);
    const auto axis = FindSpectraAxis(cells, table_.typing().decimal_mark);
    if (!axis) return false;
    first_column_ = axis->first_column;
    x = axis->x;
  }
  axis_ = table_.AxisOf(x);
  before_ = table_.matrix(*axis_).rows();
  for (int row = first_row_; row <= rows; ++row) {
    double* const values = table_.matrix(*axis_).NewRow();
    bool has_value = false;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const auto number =
          apart_.AsNumber(first_column_ + static_cast<int>(i), row, table_.typing().decimal_mark);
      if (!number) continue;
      values[i] = *number;
      has_value = true;
    }
    if (!has_value) continue;
    table_.matrix(*axis_).Expect(before_ + rows - first_row_ + 1);
    table_.matrix(*axis_).KeepRow();
    rows_.push_back(row);
  }
  return true;
}

bool SpectraSheet::Finish(const ReadResult& read, int file) {
  const int columns = std::max(GetNumberOfColumns(), apart_.GetNumberOfColumns());
  if (axis_)
    EndRow();
  else if (!TakeApart(read, columns, std::max(GetNumberOfRows(), apart_.GetNumberOfRows())))
    return false;
  AddRows(read, columns, file);
  return true;
}

// The names of spectra are those of the first column in front that holds texts.
void SpectraSheet::AddRows(const ReadResult& read, int columns, int file) {
  const int points = static_cast<int>(table_.matrix(*axis_).x().size());
  int named_by = first_column_ > 1 ? 1 : 0;
  for (int column = 1, found = 0; column < first_column_ && found == 0; ++column)
    for (const int row : rows_)
      if (apart_.IsText(column, row)) {
        named_by = found = column;
        break;
      }
  std::map<int, int> places;  // of the rows that something is said of
  for (const int row : rows_) {
    std::string name =
        named_by > 0 ? TextOf(apart_.GetCell(named_by, row)) : std::to_string(places.size() + 1);
    places[row] = table_.Add(*axis_, std::move(name), file);
  }
  for (int column = 1; column <= columns; ++column) {
    if (column == first_column_) column += points;
    if (column == named_by) continue;
    if (column > columns) break;
    Column* to = nullptr;
    for (const int row : rows_) {
      const MemoryCell cell = apart_.GetCell(column, row);
      if (cell.kind == CellKind::kMissing) continue;
      if (to == nullptr) {
        const std::string name = TextOf(apart_.GetCell(column, 1));
        to = &table_.At(name.empty() ? "column " + std::to_string(column) : name);
      }
      Put(*to, places[row], cell, table_.typing());
    }
  }
  for (const Statement& one : read.description.statements()) {
    const auto place = one.row > 0 ? places.find(one.row) : places.end();
    if (place == places.end() || one.value.empty()) continue;
    Column& to = table_.At(one.key.empty() ? one.label : one.key);
    // Of several with one key the first counts.
    if (!to.IsBehind(place->second)) to.SetText(place->second, one.value, table_.typing());
  }
}

void SpectraSheet::Undo() {
  if (axis_) table_.matrix(*axis_).CutTo(before_);
}

}  // namespace nvimport
