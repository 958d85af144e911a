#include "apps/desktop/SheetView.h"

#include <QEvent>
#include <QHeaderView>
#include <QItemSelection>
#include <QObject>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollBar>
#include <QStringList>
#include <QStyle>
#include <QStyledItemDelegate>
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

void SetNumber(MemorySheet& sheet, int column, int row, float number) {
  sheet.Set(column, row, number);
}
void SetNumber(MemorySheet& sheet, int column, int row, auto number) {
  sheet.SetExact(column, row, number);
}

// Draws cells as the style does, at a fraction of its time: hundreds of them are scrolled at once.
class CellDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override {
    const auto* const model = static_cast<const SheetModel*>(index.model());
    if (option.state & (QStyle::State_Selected | QStyle::State_HasFocus) ||
        option.direction == Qt::RightToLeft)
      return QStyledItemDelegate::paint(painter, option, index);
    const SheetModel::Seen seen = model->See(index);
    if (seen.ground != nullptr) painter->fillRect(option.rect, *seen.ground);
    if (seen.text.isEmpty()) return;
    const int margin =
        option.widget->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, option.widget) +
        1;
    const QRect room = option.rect.adjusted(margin, 0, -margin, 0);
    int width = option.fontMetrics.horizontalAdvance(seen.text);
    const bool fits = width <= room.width();
    const QString text =
        fits ? seen.text
             : option.fontMetrics.elidedText(seen.text, option.textElideMode, room.width());
    if (!fits) width = option.fontMetrics.horizontalAdvance(text);
    const int x = seen.is_right ? room.right() + 1 - width : room.left();
    const int y = room.top() + (room.height() - option.fontMetrics.height()) / 2 +
                  option.fontMetrics.ascent();
    painter->setFont(option.font);
    painter->setPen(seen.text_brush != nullptr
                        ? seen.text_brush->color()
                        : option.palette.color(option.state & QStyle::State_Active
                                                   ? QPalette::Active
                                                   : QPalette::Inactive,
                                               QPalette::Text));
    painter->drawText(x, y, text);
  }
};

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

std::shared_ptr<MemorySheet> PartOf(const MemorySheet& sheet, const std::vector<CellRange>& ranges,
                                    const Report& report) {
  auto part = std::make_shared<MemorySheet>();
  std::vector<MemoryCell> cells;
  int below = 0;
  for (const CellRange& range : ranges) {
    cells.resize(static_cast<std::size_t>(range.last_column - range.first_column) + 1);
    for (int row = range.first_row; row <= range.last_row; ++row) {
      sheet.GetCells(range.first_column, row, cells);
      ++below;
      for (std::size_t i = 0; i < cells.size(); ++i) {
        const int column = static_cast<int>(i) + 1;
        if (cells[i].kind == CellKind::kText)
          part->Set(column, below, std::string(cells[i].text).c_str());
        else if (cells[i].kind == CellKind::kNumber)
          WithNumber(cells[i], [&](auto number) { SetNumber(*part, column, below, number); });
      }
      if (static_cast<std::size_t>(below) % kRowsPerReport == 0 && !report(0, 0)) return nullptr;
    }
  }
  part->SetDataSize(static_cast<int>(cells.size()), below);
  return part;
}

QString RowChoice::Words(std::size_t shown, int rows) const {
  QStringList words;
  if (sorted_by > 0) words.push_back(QObject::tr("sorted by column %1").arg(sorted_by));
  if (!wanted.isEmpty())
    words.push_back(QObject::tr("%1 of %2 rows, with \"%3\"")
                        .arg(static_cast<qulonglong>(shown))
                        .arg(rows)
                        .arg(wanted));
  return words.join(", ");
}

std::optional<std::vector<int>> ChosenRows(const MemorySheet& sheet, int columns, int rows,
                                           bool names, NumberMarks marks, const RowChoice& choice,
                                           const Report& report) {
  std::vector<int> chosen;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  const auto holds = [&](const MemoryCell& cell) { return Holds(cell, choice.wanted); };
  for (int row = 1; row <= rows; ++row) {
    const auto done = static_cast<std::size_t>(row);
    if (done % kRowsPerReport == 0 && !report(done, static_cast<std::size_t>(rows)))
      return std::nullopt;
    const bool is_named = names && row == 1;
    if (is_named || choice.wanted.isEmpty()) {
      chosen.push_back(row);
      continue;
    }
    sheet.GetCells(1, row, cells);
    if (std::ranges::any_of(cells, holds)) chosen.push_back(row);
  }
  if (choice.sorted_by == 0) return chosen;
  // What is missing stays behind, whichever way.
  struct Key {
    CellKind kind;  // of a text that is a number as of one
    double number;
    QString text;
    int row;
  };
  std::vector<Key> keys;
  for (const int row : chosen) {
    if (names && row == 1) continue;
    const MemoryCell cell = sheet.GetCell(choice.sorted_by, row);
    if (cell.kind == CellKind::kNumber)
      keys.push_back({cell.kind, cell.exact(), {}, row});
    else if (const auto number = ParseNumber(cell.text, marks))
      keys.push_back({CellKind::kNumber, *number, {}, row});
    else
      keys.push_back({cell.kind, 0, Shown(cell), row});
  }
  const auto rank = [](const Key& key) {
    return key.kind == CellKind::kNumber ? 0 : key.kind == CellKind::kText ? 1 : 2;
  };
  std::ranges::stable_sort(keys, [&](const Key& a, const Key& b) {
    if (rank(a) != rank(b)) return rank(a) < rank(b);
    const Key& less = choice.falls ? b : a;
    const Key& more = choice.falls ? a : b;
    return a.kind == CellKind::kNumber ? less.number < more.number
                                       : less.text.localeAwareCompare(more.text) < 0;
  });
  chosen.resize(names ? 1 : 0);
  for (const Key& key : keys) chosen.push_back(key.row);
  return chosen;
}

SheetView::SheetView(QWidget* parent) : QTableView(parent) {
  setModel(&model_);
  setItemDelegate(new CellDelegate(this));
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
  MakeFrozen();
}

void SheetView::MakeFrozen() {
  frozen_ = new QTableView(this);
  frozen_->setModel(&model_);
  frozen_->setItemDelegate(itemDelegate());
  frozen_->setSelectionModel(selectionModel());
  frozen_->setAccessibleName(tr("Names of rows"));
  frozen_->setFocusPolicy(Qt::NoFocus);
  frozen_->setContextMenuPolicy(Qt::NoContextMenu);
  frozen_->setFrameShape(NoFrame);
  frozen_->setAutoScroll(false);
  frozen_->setWordWrap(false);
  frozen_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  frozen_->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  frozen_->setVerticalScrollMode(ScrollPerPixel);
  frozen_->verticalHeader()->hide();
  frozen_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  frozen_->verticalHeader()->setDefaultSectionSize(verticalHeader()->defaultSectionSize());
  frozen_->horizontalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  frozen_->horizontalHeader()->setDefaultSectionSize(horizontalHeader()->defaultSectionSize());
  frozen_->horizontalHeader()->setFixedHeight(horizontalHeader()->height());
  frozen_->hide();
  QScrollBar* const side = frozen_->verticalScrollBar();
  connect(verticalScrollBar(), &QScrollBar::valueChanged, side, &QScrollBar::setValue);
  connect(side, &QScrollBar::valueChanged, verticalScrollBar(), &QScrollBar::setValue);
  QScrollBar* const below = frozen_->horizontalScrollBar();
  connect(below, &QScrollBar::valueChanged, below, [below] { below->setValue(0); });
  connect(horizontalHeader(), &QHeaderView::sectionResized, this,
          [this](int column, int, int width) {
            if (column >= frozen_columns_) return;
            frozen_->setColumnWidth(column, width);
            PlaceFrozen();
          });
  connect(verticalHeader(), &QHeaderView::geometriesChanged, this, &SheetView::PlaceFrozen);
}

void SheetView::SetSheet(std::shared_ptr<MemorySheet> sheet, const TextReading& text) {
  model_.SetSheet(std::move(sheet), text);
  frozen_columns_ = NamedColumns();
  FitColumns();
  ShowRows(nullptr);
}

void SheetView::ShowRows(std::shared_ptr<const std::vector<int>> rows) {
  if (rows != nullptr || !model_.shows_all()) model_.SetRows(std::move(rows));
  // Names that stand in the header are no row besides.
  const bool has_names = model_.has_names() && model_.rowCount() > 0;
  for (QTableView* table : {static_cast<QTableView*>(this), frozen_})
    for (int row = 0; row < std::min(model_.rowCount(), 2); ++row)
      table->setRowHidden(row, has_names && row == 0);
  if (model_.rowCount() > 0)
    setCurrentIndex(model_.index(has_names && model_.rowCount() > 1 ? 1 : 0, 0));
  scrollToTop();
  PlaceFrozen();
}

void SheetView::FitColumns() {
  constexpr int kMostColumns = 300;
  constexpr int kMostRows = 40;
  constexpr int kMargin = 12;  // pixels
  const QFontMetrics metrics(font());
  QFont bold = font();
  bold.setBold(true);
  const QFontMetrics heads(bold);
  const int least = metrics.horizontalAdvance("00000000");
  const int most = metrics.horizontalAdvance('0') * 32;
  for (int column = 0; column < std::min(model_.columnCount(), kMostColumns); ++column) {
    const QString head = model_.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    int needed = least;
    for (const QString& line : head.split('\n'))
      needed = std::max(needed, heads.horizontalAdvance(line));
    // The longest by its characters is so by its pixels, more or less.
    QString longest;
    for (int row = model_.has_names() ? 1 : 0; row < std::min(model_.rowCount(), kMostRows); ++row)
      if (QString text = model_.index(row, column).data().toString(); text.size() > longest.size())
        longest = std::move(text);
    needed = std::max(needed, metrics.horizontalAdvance(longest));
    const int width = std::min(needed, most) + kMargin;
    setColumnWidth(column, width);
    if (column < frozen_columns_) frozen_->setColumnWidth(column, width);
  }
}

int SheetView::NamedColumns() const {
  constexpr int kMostColumns = 4;
  constexpr int kMostRows = 10;
  if (model_.columnCount() <= kMostColumns) return 0;
  const int rows = std::min(model_.rowCount(), kMostRows);
  for (int column = 0; column < kMostColumns; ++column) {
    int texts = 0;
    for (int row = 1; row < rows; ++row) {
      const QModelIndex index = model_.index(row, column);
      if (index.data().isValid() && !index.data(Qt::ForegroundRole).isNull()) ++texts;
    }
    if (texts * 2 > rows) return column + 1;
  }
  return 0;
}

void SheetView::PlaceFrozen() {
  int width = 0;
  for (int column = 0; column < frozen_columns_; ++column) width += columnWidth(column);
  // Where they would leave little room for the rest, they go out of sight as all do.
  const bool fits = width > 0 && width * 2 < viewport()->width();
  frozen_->setVisible(fits);
  if (!fits) return;
  frozen_->setGeometry(verticalHeader()->width() + frameWidth(), frameWidth(), width,
                       viewport()->height() + horizontalHeader()->height());
}

void SheetView::scrollTo(const QModelIndex& index, ScrollHint hint) {
  QTableView::scrollTo(index, hint);
  if (frozen_ == nullptr || !frozen_->isVisible() || index.column() < frozen_columns_) return;
  const int hidden = frozen_->width() - visualRect(index).left();
  if (hidden > 0) horizontalScrollBar()->setValue(horizontalScrollBar()->value() - hidden);
}

void SheetView::resizeEvent(QResizeEvent* event) {
  QTableView::resizeEvent(event);
  PlaceFrozen();
}

void SheetView::GoTo(CellPlace place) {
  int row = model_.ShownRow(std::max(place.row, 1) - 1);
  if (row < 0) {
    ShowRows(nullptr);
    emit AllRowsShown();
    row = place.row - 1;
  }
  row = std::clamp(row, 0, std::max(model_.rowCount(), 1) - 1);
  // What is looked for in the names is seen, even twice.
  if (isRowHidden(row)) setRowHidden(row, false);
  const QModelIndex index =
      model_.index(row, std::clamp(place.column, 1, std::max(model_.columnCount(), 1)) - 1);
  if (!index.isValid()) return;
  setCurrentIndex(index);
  scrollTo(index, PositionAtCenter);
}

CellPlace SheetView::Place() const {
  const QModelIndex current = currentIndex();
  if (!current.isValid()) return {};
  return {model_.SheetRow(current.row()) + 1, current.column() + 1};
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
  if (!have_same_columns) return {};
  if (model_.shows_all()) return joined;
  // Rows that stand together need not do so in the sheet.
  std::vector<CellRange> apart;
  for (const CellRange& part : joined)
    for (int shown = part.first_row; shown <= part.last_row; ++shown) {
      const int row = model_.SheetRow(shown - 1) + 1;
      apart.push_back({row, row, part.first_column, part.last_column});
    }
  return apart;
}

std::vector<int> SheetView::SelectedLines(Qt::Orientation orientation) const {
  std::vector<int> lines;
  const bool rows = orientation == Qt::Vertical;
  for (const QItemSelectionRange& range : selectionModel()->selection())
    for (int line = rows ? range.top() : range.left();
         line <= (rows ? range.bottom() : range.right()); ++line)
      lines.push_back((rows ? model_.SheetRow(line) : line) + 1);
  std::ranges::sort(lines);
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
  return lines;
}

void SheetView::SelectLine(int line, Qt::Orientation orientation) {
  if (orientation == Qt::Vertical) {
    const int row = model_.ShownRow(line - 1);
    if (row < 0) return;
    selectRow(row);
    scrollTo(model_.index(row, std::max(columnAt(0), 0)));
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
