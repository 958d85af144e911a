#include "apps/desktop/Curves.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "apps/desktop/SheetText.h"
#include "framework/MemorySheet.h"
#include "framework/SpectraAxis.h"
#include "platform/NumberText.h"

namespace {

constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kRowsPerReport = 256;

float NumberIn(const MemoryCell& cell, char decimal_mark) {
  if (cell.kind == CellKind::kNumber) return cell.number;
  if (cell.kind != CellKind::kText) return kNoNumber;
  const auto number = ParseNumber(cell.text, decimal_mark);
  return number ? static_cast<float>(*number) : kNoNumber;
}

bool HasNumber(std::span<const float> y) {
  return std::ranges::any_of(y, [](float value) { return !std::isnan(value); });
}

// What a sample is called: the first of the cells that is no number.
QString NameOf(std::span<const MemoryCell> cells, char decimal_mark, const QString& otherwise) {
  for (const MemoryCell& cell : cells)
    if (cell.kind == CellKind::kText && !cell.text.empty() && !ParseNumber(cell.text, decimal_mark))
      return Shown(cell);
  return otherwise;
}

// The rows of a sheet, one at a time.
class Rows {
 public:
  Rows(const MemorySheet& sheet, int columns, int rows, const Report& report)
      : sheet_(sheet), cells_(static_cast<std::size_t>(columns)), rows_(rows), report_(report) {}

  // False when it is to stop.
  bool Take(int row) {
    sheet_.GetCells(1, row, cells_);
    const auto done = static_cast<std::size_t>(row);
    return done % kRowsPerReport != 0 || report_(done, static_cast<std::size_t>(rows_));
  }
  std::span<const MemoryCell> cells() const { return cells_; }

 private:
  const MemorySheet& sheet_;
  std::vector<MemoryCell> cells_;
  int rows_;
  const Report& report_;
};

void TakeSpectra(const SpectraAxis& axis, Rows& rows, int count, char decimal_mark,
                 Curves& curves) {
  curves.spectra = true;
  curves.x_falls = axis.falls();
  curves.x = axis.x;
  if (curves.x_falls) std::ranges::reverse(curves.x);
  const std::size_t points = curves.x.size();
  const auto first = static_cast<std::size_t>(axis.first_column) - 1;
  for (int row = 2; row <= count; ++row) {
    if (!rows.Take(row)) {
      curves.complete = false;
      return;
    }
    const auto cells = rows.cells().subspan(first, points);
    const std::size_t begin = curves.y.size();
    for (const MemoryCell& cell : cells) curves.y.push_back(NumberIn(cell, decimal_mark));
    const std::span<float> y = std::span(curves.y).subspan(begin);
    if (!HasNumber(y)) {
      curves.y.resize(begin);
      continue;
    }
    if (curves.x_falls) std::ranges::reverse(y);
    curves.lines.push_back(row);
    curves.names.push_back(
        NameOf(rows.cells().first(first), decimal_mark, QStringLiteral("Row %1").arg(row)));
  }
}

void TakePoints(Rows& rows, int columns, int count, char decimal_mark, Curves& curves) {
  const auto points = static_cast<std::size_t>(count);
  for (int row = 1; row <= count; ++row) curves.x.push_back(row);
  curves.y.resize(static_cast<std::size_t>(columns) * points, kNoNumber);
  for (std::size_t row = 0; row < points; ++row) {
    if (!rows.Take(static_cast<int>(row) + 1)) {
      curves.complete = false;
      return;
    }
    for (std::size_t column = 0; column < rows.cells().size(); ++column)
      curves.y[column * points + row] = NumberIn(rows.cells()[column], decimal_mark);
  }
  // Columns without numbers make room for those behind them.
  rows.Take(1);
  for (std::size_t column = 0; column < rows.cells().size(); ++column) {
    const auto y = curves.Of(column);
    if (!HasNumber(y)) continue;
    std::ranges::copy(y, curves.y.begin() + static_cast<std::ptrdiff_t>(curves.size() * points));
    curves.lines.push_back(static_cast<int>(column) + 1);
    curves.names.push_back(NameOf(rows.cells().subspan(column, 1), decimal_mark,
                                  QStringLiteral("Column %1").arg(column + 1)));
  }
  curves.y.resize(curves.size() * points);
}

}  // namespace

Curves TakeCurves(MemorySheet& sheet, char decimal_mark, const Report& report) {
  const int columns = sheet.GetNumberOfColumns();
  const int count = sheet.GetNumberOfRows();
  Curves curves;
  if (columns == 0 || count == 0) return curves;
  Rows rows(sheet, columns, count, report);
  rows.Take(1);
  const auto axis = FindSpectraAxis(rows.cells(), decimal_mark);
  if (axis) TakeSpectra(*axis, rows, count, decimal_mark, curves);
  // Numbers in a row do not make spectra where nothing follows below.
  if (axis && (!curves.lines.empty() || !curves.complete)) return curves;
  curves = {};
  TakePoints(rows, columns, count, decimal_mark, curves);
  return curves;
}
