#include "apps/desktop/Curves.h"

#include <QObject>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <optional>

#include "apps/desktop/SheetText.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/hosting/CellText.h"

namespace nvimport {

namespace {

constexpr float kNoNumber = std::numeric_limits<float>::quiet_NaN();
constexpr std::size_t kRowsPerReport = 256;
// Beyond these a sheet is not plotted: the cells to look at, the values to keep.
constexpr std::size_t kMostCells = 2'000'000'000;
constexpr std::size_t kMostPoints = 250'000'000;

float NumberIn(const MemoryCell& cell, NumberMarks marks) {
  float value = kNoNumber;
  if (cell.kind == CellKind::kNumber)
    value = cell.number;
  else if (cell.kind == CellKind::kText)
    value = static_cast<float>(ParseNumber(cell.text, marks).value_or(kNoNumber));
  // What has no end has no place in a picture.
  return std::isfinite(value) ? value : kNoNumber;
}

bool HasNumber(std::span<const float> y) {
  return std::ranges::any_of(y, [](float value) { return !std::isnan(value); });
}

// What a sample is called: the first of the cells that is no number.
QString NameOf(std::span<const MemoryCell> cells, NumberMarks marks, const QString& otherwise) {
  for (const MemoryCell& cell : cells)
    if (cell.kind == CellKind::kText && !cell.text.empty() && !ParseNumber(cell.text, marks))
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

void TakeSpectra(const SpectraAxis& axis, Rows& rows, int count, NumberMarks marks,
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
    for (const MemoryCell& cell : cells) curves.y.push_back(NumberIn(cell, marks));
    const std::span<float> y = std::span(curves.y).subspan(begin);
    if (!HasNumber(y)) {
      curves.y.resize(begin);
      continue;
    }
    if (curves.x_falls) std::ranges::reverse(y);
    curves.lines.push_back(row);
    curves.names.push_back(
        NameOf(rows.cells().first(first), marks, QStringLiteral("Row %1").arg(row)));
  }
}

void TakePoints(Rows& rows, int count, NumberMarks marks, Curves& curves) {
  const auto points = static_cast<std::size_t>(count);
  // A sheet may be wide and high by a single cell in its corner: first which columns have numbers.
  const std::size_t columns = rows.cells().size();
  curves.too_large = columns * points > kMostCells;
  if (curves.too_large) return;
  std::vector<char> numeric(columns);
  const auto each_row = [&](const auto& take) {
    for (std::size_t row = 0; row < points; ++row) {
      if (!rows.Take(static_cast<int>(row) + 1)) return false;
      take(row);
    }
    return true;
  };
  curves.complete = each_row([&](std::size_t) {
    for (std::size_t column = 0; column < columns; ++column)
      if (numeric[column] == 0 && !std::isnan(NumberIn(rows.cells()[column], marks)))
        numeric[column] = 1;
  });
  if (!curves.complete) return;
  rows.Take(1);
  for (std::size_t column = 0; column < columns; ++column) {
    if (numeric[column] == 0) continue;
    curves.lines.push_back(static_cast<int>(column) + 1);
    curves.names.push_back(NameOf(rows.cells().subspan(column, 1), marks,
                                  QStringLiteral("Column %1").arg(column + 1)));
  }
  if (curves.size() * points > kMostPoints) {
    curves = {};
    curves.too_large = true;
    return;
  }
  for (int row = 1; row <= count; ++row) curves.x.push_back(row);
  curves.y.resize(curves.size() * points, kNoNumber);
  curves.complete = each_row([&](std::size_t row) {
    for (std::size_t curve = 0; curve < curves.size(); ++curve)
      curves.y[curve * points + row] =
          NumberIn(rows.cells()[static_cast<std::size_t>(curves.lines[curve]) - 1], marks);
  });
}

// Whether what looks like x values is no row of a table without names: by letters, or since most of
// the numbers below stand under them.
bool IsAxis(const SpectraAxis& axis, Rows& rows, int count, NumberMarks marks) {
  rows.Take(1);
  const MemoryCell name = rows.cells()[static_cast<std::size_t>(axis.first_column) - 1];
  if (std::isnan(NumberIn(name, marks))) return true;
  if (count < 2) return false;
  rows.Take(2);
  std::size_t numbers = 0;
  for (const MemoryCell& cell : rows.cells())
    if (!std::isnan(NumberIn(cell, marks))) ++numbers;
  return axis.x.size() * 2 > numbers;
}

// The axis that the file itself states, if it rises or falls as one in a picture must.
std::optional<SpectraAxis> SaidAxis(const Description& description, int columns) {
  constexpr std::size_t kFewest = 2;
  SpectraAxis axis{description.first_x_column(), description.x()};
  const bool is_one =
      axis.x.size() >= kFewest && axis.first_column >= 1 && axis.last_column() <= columns &&
      axis.x.front() != axis.x.back() &&
      (std::ranges::is_sorted(axis.x) || std::ranges::is_sorted(axis.x, std::ranges::greater()));
  return is_one ? std::optional(std::move(axis)) : std::nullopt;
}

QString TitleOf(const AxisName& name) {
  const QString label = QString::fromStdString(ToUtf8(name.label));
  const QString unit = QString::fromStdString(ToUtf8(name.unit));
  if (label.isEmpty() || unit.isEmpty()) return label + unit;
  return QStringLiteral("%1 (%2)").arg(label, unit);
}

// The number that a text is, or ends with: 740 of "band740".
double NumberAtEnd(const MemoryCell& cell, NumberMarks marks) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  if (cell.kind == CellKind::kNumber) return cell.exact();
  if (cell.kind == CellKind::kMissing) return kNone;
  const std::size_t last_other = cell.text.find_last_not_of("0123456789.,");
  const std::string_view end = cell.text.substr(last_other + 1);
  return ParseNumber(cell.text, marks).value_or(ParseNumber(end, marks).value_or(kNone));
}

// The x values of the points of chosen curves, rising, and where each stands among the cells.
struct ChosenX {
  std::vector<double> values;
  std::vector<std::size_t> places;

  void Add(double value, std::size_t place) {
    if (!std::isfinite(value)) return;
    values.push_back(value);
    places.push_back(place);
  }
  // Whether they fell.
  bool Sort() {
    const bool falls = values.size() > 1 && values.back() < values.front();
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return values[i]; });
    const ChosenX before = *this;
    for (std::size_t i = 0; i < order.size(); ++i) {
      values[i] = before.values[order[i]];
      places[i] = before.places[order[i]];
    }
    return falls;
  }
};

bool IsChosen(const PlotChoice& choice, int line) {
  return choice.lines.empty() || std::ranges::binary_search(choice.lines, line);
}

// Rows as curves: the x values stand in one of the rows, over the cells.
void TakeRows(const PlotChoice& choice, Rows& rows, int count, NumberMarks marks, Curves& curves) {
  const int x_row = choice.x == 0 ? 1 : choice.x;
  ChosenX x;
  if (x_row > 0) {
    rows.Take(x_row);
    for (std::size_t i = 0; i < rows.cells().size(); ++i)
      x.Add(NumberAtEnd(rows.cells()[i], marks), i);
  } else {
    for (std::size_t i = 0; i < rows.cells().size(); ++i) x.Add(static_cast<double>(i) + 1, i);
  }
  const std::size_t first = x_row < 0 || x.places.empty() ? rows.cells().size() : x.places.front();
  curves.spectra = true;
  curves.x_falls = x.Sort();
  curves.x = x.values;
  for (int row = 1; row <= count && !x.places.empty(); ++row) {
    if (row == x_row || !IsChosen(choice, row)) continue;
    curves.complete = rows.Take(row);
    curves.too_large = curves.y.size() > kMostPoints;
    if (!curves.complete || curves.too_large) return;
    const std::size_t begin = curves.y.size();
    for (const std::size_t place : x.places)
      curves.y.push_back(NumberIn(rows.cells()[place], marks));
    if (!HasNumber(std::span(curves.y).subspan(begin))) {
      curves.y.resize(begin);
      continue;
    }
    curves.lines.push_back(row);
    curves.names.push_back(
        NameOf(rows.cells().first(first), marks, QStringLiteral("Row %1").arg(row)));
  }
}

// Columns as curves: the x values stand in one of the columns, beside the cells.
void TakeColumns(const PlotChoice& choice, Rows& rows, int count, NumberMarks marks,
                 Curves& curves) {
  // All columns over the rows, of which some are left out, and which then take their own order.
  TakePoints(rows, count, marks, curves);
  if (!curves.complete || curves.too_large) return;
  ChosenX x;
  for (int row = 1; row <= count; ++row) {
    const auto place = static_cast<std::size_t>(row) - 1;
    if (choice.x <= 0) {
      x.Add(row, place);
    } else {
      rows.Take(row);
      const MemoryCell& cell = rows.cells()[static_cast<std::size_t>(choice.x) - 1];
      x.Add(cell.kind == CellKind::kNumber ? cell.exact()
                                           : static_cast<double>(NumberIn(cell, marks)),
            place);
    }
  }
  x.Sort();
  Curves taken;
  taken.x = x.values;
  for (std::size_t i = 0; i < curves.size(); ++i) {
    if (curves.lines[i] == choice.x || !IsChosen(choice, curves.lines[i])) continue;
    taken.lines.push_back(curves.lines[i]);
    taken.names.push_back(curves.names[i]);
    for (const std::size_t place : x.places) taken.y.push_back(curves.Of(i)[place]);
  }
  if (choice.x > 0) {
    rows.Take(1);
    taken.x_title =
        NameOf(rows.cells().subspan(static_cast<std::size_t>(choice.x) - 1, 1), marks, {});
  }
  curves = std::move(taken);
}

Curves TakeGuessed(MemorySheet& sheet, NumberMarks marks, const Report& report,
                   const Description* description) {
  const int columns = sheet.GetNumberOfColumns();
  const int count = sheet.GetNumberOfRows();
  Curves curves;
  if (columns == 0 || count == 0) return curves;
  Rows rows(sheet, columns, count, report);
  rows.Take(1);
  const auto said = description != nullptr ? SaidAxis(*description, columns) : std::nullopt;
  const auto axis = said ? said : FindSpectraAxis(rows.cells(), marks.decimal);
  if (said) {
    curves.x_title = TitleOf(description->name(Axis::kX));
    curves.y_title = TitleOf(description->name(Axis::kY));
  }
  if (said || (axis && IsAxis(*axis, rows, count, marks)))
    TakeSpectra(*axis, rows, count, marks, curves);
  // Numbers in a row do not make spectra where nothing follows below.
  if (axis && (!curves.lines.empty() || !curves.complete)) return curves;
  curves = {};
  TakePoints(rows, count, marks, curves);
  return curves;
}

}  // namespace

Curves TakeCurves(MemorySheet& sheet, NumberMarks marks, const Report& report,
                  const Description* description, const PlotChoice& choice) {
  const int columns = sheet.GetNumberOfColumns();
  const int count = sheet.GetNumberOfRows();
  Curves curves = {};
  const bool is_guessed =
      choice.curves == PlotChoice::Curves::kGuessed && choice.x == 0 && choice.lines.empty();
  if (is_guessed || columns == 0 || count == 0) {
    curves = TakeGuessed(sheet, marks, report, description);
  } else {
    Rows rows(sheet, columns, count, report);
    rows.Take(1);
    PlotChoice settled = choice;
    if (choice.curves == PlotChoice::Curves::kGuessed &&
        FindSpectraAxis(rows.cells(), marks.decimal))
      settled.curves = PlotChoice::Curves::kRows;
    // The sheet may be another one than that which they were chosen for.
    const bool are_rows = settled.curves == PlotChoice::Curves::kRows;
    if (settled.x > (are_rows ? count : columns)) settled.x = 0;
    are_rows ? TakeRows(settled, rows, count, marks, curves)
             : TakeColumns(settled, rows, count, marks, curves);
  }
  using Marks = PlotChoice::Marks;
  curves.marks = choice.marks != Marks::kGuessed ? choice.marks
                 : curves.spectra                ? Marks::kLines
                                                 : Marks::kPoints;
  if (curves.x_title.isEmpty() && !curves.spectra) curves.x_title = QObject::tr("Row");
  if (!choice.x_title.isEmpty()) curves.x_title = choice.x_title;
  if (!choice.y_title.isEmpty()) curves.y_title = choice.y_title;
  return curves;
}

}  // namespace nvimport
