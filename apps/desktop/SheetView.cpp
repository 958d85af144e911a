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

QString TabSeparated(const MemorySheet& sheet, const std::vector<CellRange>& ranges,
                     const Report& report) {
  QString text;
  std::vector<MemoryCell> cells;
  std::size_t done = 0;
  std::size_t all = 0;
  for (const CellRange& range : ranges)
    all += static_cast<std::size_t>(range.last_row - range.first_row) + 1;
  for (const CellRange& range : ranges) {
    cells.resize(static_cast<std::size_t>(range.last_column - range.first_column) + 1);
    for (int row = range.first_row; row <= range.last_row; ++row, ++done) {
      sheet.GetCells(range.first_column, row, cells);
      for (std::size_t i = 0; i < cells.size(); ++i) {
        if (i > 0) text += '\t';
        QString cell = Shown(cells[i]);
        std::ranges::replace_if(
            cell, [](QChar c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
        text += cell;
      }
      text += '\n';
      if (text.size() > kLongestCopy) return {};
      if (done % kRowsPerReport == 0 && !report(done, all)) return {};
    }
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

std::vector<CellRange> SheetView::Selected() const {
  std::vector<CellRange> parts;
  for (const QItemSelectionRange& range : selectionModel()->selection())
    parts.push_back({range.top() + 1, range.bottom() + 1, range.left() + 1, range.right() + 1});
  // Cells that are chosen one by one side by side are one range.
  std::ranges::sort(parts, {}, [](const CellRange& part) {
    return std::pair(part.first_row, part.first_column);
  });
  std::vector<CellRange> joined;
  for (const CellRange& part : parts) {
    if (!joined.empty() && joined.back().first_row == part.first_row &&
        joined.back().last_row == part.last_row &&
        joined.back().last_column + 1 == part.first_column)
      joined.back().last_column = part.last_column;
    else
      joined.push_back(part);
  }
  const bool have_same_columns = std::ranges::all_of(joined, [&](const CellRange& part) {
    return part.first_column == joined.front().first_column &&
           part.last_column == joined.front().last_column;
  });
  return have_same_columns ? joined : std::vector<CellRange>();
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
