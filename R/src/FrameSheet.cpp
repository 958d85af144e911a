#include "FrameSheet.h"

#include <algorithm>
#include <cpp11/protect.hpp>
#include <cpp11/sexp.hpp>
#include <cstring>

#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

bool ReadsAsNumber(std::string_view text) {
  return ParseNumber(text, '.') || ParseNumber(text, ',');
}

Column::Cell CellOf(const MemoryCell& cell) {
  if (cell.kind == CellKind::kText) return {Column::Cell::kText, 0, false, std::string(cell.text)};
  if (cell.kind != CellKind::kNumber) return {};
  if (cell.number_kind != NumberKind::kWhole)
    return {Column::Cell::kNumber, cell.exact(), cell.number_kind == NumberKind::kFloat, {}};
  FloatText buffer;
  return {Column::Cell::kText, 0, false, std::string(FormatWhole(cell.whole, buffer))};
}

}  // namespace

void FrameSheet::Set(int column, int row, const char* text) {
  if (text != nullptr) Set(column, row, text, std::strlen(text));
}

void FrameSheet::Set(int column, int row, const char* text, std::size_t length) {
  const std::string_view shown(text, length);
  if (row <= head_rows_) return head_.SetText(column, row, shown);
  if (Column* const to = At(column)) to->SetText(row - head_rows_ - 1, shown, typing_);
  if (row <= kLookedAt && !has_numbers_) has_numbers_ = ReadsAsNumber(shown);
}

void FrameSheet::SetExact(int column, int row, long long value) {
  if (IsExact(value)) return SetExact(column, row, static_cast<double>(value));
  // No number of R has all its digits, but a text.
  FloatText buffer;
  const std::string_view digits = FormatWhole(value, buffer);
  Set(column, row, digits.data(), digits.size());
}

std::vector<MemoryCell> FrameSheet::Head() const {
  auto* const self = const_cast<FrameSheet*>(this);
  std::vector<MemoryCell> cells(static_cast<std::size_t>(
      std::max({self->GetNumberOfColumns(), self->head_.GetNumberOfColumns(),
                static_cast<int>(columns_.size())})));
  head_.GetCells(1, 1, cells);
  return cells;
}

bool FrameSheet::BeginsWithNames() const {
  if (!has_numbers_) return false;
  bool has_words = false;
  for (const MemoryCell& cell : Head()) {
    if (cell.kind == CellKind::kNumber ||
        (cell.kind == CellKind::kText && ReadsAsNumber(cell.text)))
      return false;
    has_words = has_words || (cell.kind == CellKind::kText && !cell.text.empty());
  }
  return has_words;
}

bool FrameSheet::HasAxis() const {
  return FindSpectraAxis(Head(), typing_.decimal_mark).has_value();
}

std::uint64_t FrameSheet::CountCells() const {
  std::uint64_t cells = 0;
  for (const auto& column : columns_)
    if (column) cells += column->cells();
  return cells;
}

FrameSheet::Nul FrameSheet::Finish(bool has_names, SEXP columns, SEXP names) {
  Nul nul;
  const R_xlen_t rows = RowsOf(has_names);
  const R_xlen_t count = Rf_xlength(columns);
  const std::vector<MemoryCell> head = Head();
  columns_.resize(static_cast<std::size_t>(count));
  // Columns without cells are one and the same.
  const cpp11::sexp none = Column().MakeVector(rows);
  for (R_xlen_t i = 0; i < count; ++i) {
    auto& column = columns_[static_cast<std::size_t>(i)];
    if (!has_names) {
      std::vector<Column::Cell> front;
      for (int row = 1; row <= head_rows_; ++row)
        front.push_back(CellOf(head_.GetCell(static_cast<int>(i) + 1, row)));
      if (!column) column = std::make_unique<Column>();
      column->SetFront(std::move(front), typing_);
    }
    const bool is_empty = !column || column->cells() == 0;
    SET_VECTOR_ELT(columns, i, is_empty ? SEXP(none) : column->MakeVector(rows));
    if (is_empty) column.reset();
  }
  TextMaker maker(typing_.decoder);
  FloatText buffer;
  for (R_xlen_t i = 0; i < count; ++i) {
    const auto at = static_cast<std::size_t>(i);
    if (columns_[at]) {
      const R_xlen_t nul_row = columns_[at]->Fill(VECTOR_ELT(columns, i), typing_);
      if (nul_row > 0 && nul.row == 0)
        nul = {nul_row + (has_names ? head_rows_ : 0), static_cast<int>(i) + 1};
      columns_[at].reset();
    }
    cpp11::unwind_protect([&] {
      SET_STRING_ELT(names, i, NA_STRING);
      if (!has_names || head[at].kind == CellKind::kMissing) return;
      const std::string_view name =
          head[at].kind == CellKind::kText ? head[at].text : FormatNumber(head[at], buffer);
      if (!maker.Put(names, i, name) && nul.row == 0) nul = {1, static_cast<int>(i) + 1};
    });
    cpp11::check_user_interrupt();
  }
  return nul;
}

}  // namespace nvimport
