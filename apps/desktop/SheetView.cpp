#include "apps/desktop/SheetView.h"

#include <QEvent>
#include <QHeaderView>
#include <QItemSelection>
#include <QRegularExpression>
#include <algorithm>
#include <utility>

#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

constexpr std::size_t kRowsPerReport = 512;
constexpr qsizetype kLongestCopy = 500'000'000;

bool Holds(const MemoryCell& cell, const QString& wanted) {
  if (cell.kind == CellKind::kMissing) return false;
  return Shown(cell).contains(wanted, Qt::CaseInsensitive);
}

}  // namespace

std::optional<CellPlace> ParsePlace(const QString& text) {
  static const QRegularExpression kPlace(R"(^\s*R?\s*(\d+)\s*[,;:. C]\s*(\d+)\s*$)",
                                         QRegularExpression::CaseInsensitiveOption);
  const auto match = kPlace.match(text);
  if (!match.hasMatch()) return std::nullopt;
  bool fits[2] = {};
  const CellPlace place{match.captured(1).toInt(&fits[0]), match.captured(2).toInt(&fits[1])};
  return fits[0] && fits[1] ? std::optional(place) : std::nullopt;
}

std::optional<CellPlace> FindText(MemorySheet& sheet, const QString& wanted, CellPlace from,
                                  bool forward, const Report& report) {
  const int rows = sheet.GetNumberOfRows();
  const int columns = sheet.GetNumberOfColumns();
  if (wanted.isEmpty() || rows == 0 || columns == 0) return std::nullopt;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  // The row that it begins in comes again at the end, for its other side.
  for (int done = 0; done <= rows; ++done) {
    const int step = forward ? done : rows - done % rows;
    const int row = (from.row - 1 + step) % rows + 1;
    sheet.GetCells(1, row, cells);
    for (int i = 1; i <= columns; ++i) {
      const int column = forward ? i : columns + 1 - i;
      const bool behind = forward ? column > from.column : column < from.column;
      if ((done == 0 && !behind) || (done == rows && behind)) continue;
      if (Holds(cells[static_cast<std::size_t>(column) - 1], wanted)) return CellPlace{row, column};
    }
    const auto count = static_cast<std::size_t>(done);
    if (count % kRowsPerReport == 0 && !report(count, static_cast<std::size_t>(rows)))
      return std::nullopt;
  }
  return std::nullopt;
}

QString TabSeparated(const MemorySheet& sheet, const CellRange& range, const Report& report) {
  QString text;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(range.last_column - range.first_column) +
                                1);
  const auto rows = static_cast<std::size_t>(range.last_row - range.first_row) + 1;
  for (std::size_t row = 0; row < rows; ++row) {
    sheet.GetCells(range.first_column, range.first_row + static_cast<int>(row), cells);
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) text += '\t';
      QString cell = Shown(cells[i]);
      std::ranges::replace_if(
          cell, [](QChar c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
      text += cell;
    }
    text += '\n';
    if (text.size() > kLongestCopy) return {};
    if (row % kRowsPerReport == 0 && !report(row, rows)) return {};
  }
  return text;
}

SheetView::SheetView(QWidget* parent) : QTableView(parent) {
  setModel(&model_);
  setAccessibleName(tr("Sheet"));
  setWordWrap(false);
  setTabKeyNavigation(false);
  setHorizontalScrollMode(ScrollPerPixel);
  setVerticalScrollMode(ScrollPerPixel);
  // Rows and columns of one size each: a sheet of millions is laid out at once.
  const QFontMetrics metrics(font());
  verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  verticalHeader()->setDefaultSectionSize(metrics.height() + 6);
  horizontalHeader()->setDefaultSectionSize(metrics.horizontalAdvance('0') * 13);
  horizontalHeader()->setFixedHeight(2 * metrics.height() + 8);
  horizontalHeader()->setHighlightSections(true);
  model_.SetColors(palette());
}

void SheetView::SetSheet(std::shared_ptr<MemorySheet> sheet) {
  model_.SetSheet(std::move(sheet));
  if (model_.rowCount() > 0) setCurrentIndex(model_.index(0, 0));
  scrollToTop();
}

void SheetView::GoTo(CellPlace place) {
  const QModelIndex index =
      model_.index(std::clamp(place.row, 1, std::max(model_.rowCount(), 1)) - 1,
                   std::clamp(place.column, 1, std::max(model_.columnCount(), 1)) - 1);
  if (!index.isValid()) return;
  setCurrentIndex(index);
  scrollTo(index, PositionAtCenter);
}

CellPlace SheetView::Place() const {
  return {currentIndex().row() + 1, currentIndex().column() + 1};
}

std::optional<CellRange> SheetView::Selected() const {
  const QItemSelection selection = selectionModel()->selection();
  if (selection.isEmpty()) return std::nullopt;
  CellRange all{model_.rowCount(), 1, model_.columnCount(), 1};
  qint64 cells = 0;
  for (const QItemSelectionRange& range : selection) {
    cells += qint64{range.width()} * range.height();
    all.first_row = std::min(all.first_row, range.top() + 1);
    all.last_row = std::max(all.last_row, range.bottom() + 1);
    all.first_column = std::min(all.first_column, range.left() + 1);
    all.last_column = std::max(all.last_column, range.right() + 1);
  }
  const bool whole =
      cells == qint64{all.last_row - all.first_row + 1} * (all.last_column - all.first_column + 1);
  return whole ? std::optional(all) : std::nullopt;
}

std::vector<int> SheetView::SelectedLines(Qt::Orientation orientation) const {
  std::vector<int> lines;
  const bool rows = orientation == Qt::Vertical;
  for (const QItemSelectionRange& range : selectionModel()->selection())
    for (int line = rows ? range.top() : range.left();
         line <= (rows ? range.bottom() : range.right()); ++line)
      lines.push_back(line + 1);
  std::ranges::sort(lines);
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

void SheetView::SelectLine(int line, Qt::Orientation orientation) {
  if (orientation == Qt::Vertical) {
    selectRow(line - 1);
    scrollTo(model_.index(line - 1, std::max(columnAt(0), 0)));
  } else {
    selectColumn(line - 1);
    scrollTo(model_.index(std::max(rowAt(0), 0), line - 1));
  }
}

void SheetView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) {
  QTableView::selectionChanged(selected, deselected);
  emit SelectionChanged();
}

void SheetView::changeEvent(QEvent* event) {
  QTableView::changeEvent(event);
  if (event->type() == QEvent::PaletteChange) model_.SetColors(palette());
}

}  // namespace nvimport
