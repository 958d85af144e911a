#include "apps/desktop/SheetModel.h"

#include <QPalette>
#include <algorithm>
#include <utility>

#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

// A long text is shown by its beginning; all of it is copied.
constexpr qsizetype kLongest = 300;

QString OneLineOf(const MemoryCell& cell) {
  MemoryCell head = cell;
  auto length = std::min(cell.text.size(), static_cast<std::size_t>(kLongest) * 4);
  // Not in the midst of a character.
  while (length > 0 && length < cell.text.size() &&
         (static_cast<unsigned char>(cell.text[length]) & 0xC0) == 0x80)
    --length;
  head.text = cell.text.substr(0, length);
  QString text = Shown(head).left(kLongest);
  std::ranges::replace_if(
      text, [](QChar c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
  return text;
}

// Whether the first row of a sheet is texts above numbers.
bool HasNames(const MemorySheet& sheet, int columns, int rows, NumberMarks marks) {
  constexpr int kMostRows = 10;
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  const auto is_number = [&](const MemoryCell& cell) {
    return cell.kind == CellKind::kNumber ||
           (cell.kind == CellKind::kText && ParseNumber(cell.text, marks));
  };
  const auto has_number = [&](int row) {
    sheet.GetCells(1, row, cells);
    return std::ranges::any_of(cells, is_number);
  };
  if (has_number(1) || std::ranges::find(cells, CellKind::kText, &MemoryCell::kind) == cells.end())
    return false;
  for (int row = 2; row <= std::min(rows, kMostRows); ++row)
    if (has_number(row)) return true;
  return false;
}

}  // namespace

void SheetModel::SetSheet(std::shared_ptr<MemorySheet> sheet, const TextReading& text) {
  beginResetModel();
  sheet_ = std::move(sheet);
  rows_ = sheet_ == nullptr ? 0 : sheet_->GetNumberOfRows();
  columns_ = sheet_ == nullptr ? 0 : sheet_->GetNumberOfColumns();
  shown_.reset();
  has_names_ = columns_ > 0 && rows_ > 1 &&
               text.header.value_or(HasNames(*sheet_, columns_, rows_, text.marks));
  endResetModel();
}

void SheetModel::SetRows(std::shared_ptr<const std::vector<int>> rows) {
  beginResetModel();
  shown_ = std::move(rows);
  endResetModel();
}

int SheetModel::SheetRow(int shown) const {
  return shown_ == nullptr ? shown : (*shown_)[static_cast<std::size_t>(shown)] - 1;
}

int SheetModel::ShownRow(int row) const {
  if (shown_ == nullptr) return row;
  const auto found = std::ranges::find(*shown_, row + 1);
  return found == shown_->end() ? -1 : static_cast<int>(found - shown_->begin());
}

void SheetModel::SetColors(const QPalette& palette) {
  const bool dark =
      palette.color(QPalette::Base).lightness() < palette.color(QPalette::Text).lightness();
  text_ = QColor(dark ? "#8cc8ff" : "#0b4f8a");
  QColor hatch = palette.color(QPalette::Text);
  hatch.setAlphaF(0.16F);
  missing_ = QBrush(hatch, Qt::BDiagPattern);
}

int SheetModel::rowCount(const QModelIndex& parent) const {
  if (parent.isValid()) return 0;
  return shown_ == nullptr ? rows_ : static_cast<int>(shown_->size());
}

int SheetModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : columns_;
}

SheetModel::Seen SheetModel::See(const QModelIndex& index) const {
  const MemoryCell cell = sheet_->GetCell(index.column() + 1, SheetRow(index.row()) + 1);
  switch (cell.kind) {
    case CellKind::kNumber:
      return {OneLineOf(cell), true, nullptr, nullptr};
    case CellKind::kText:
      return {OneLineOf(cell), false, &text_, nullptr};
    case CellKind::kMissing:
      break;
  }
  return {{}, false, nullptr, &missing_};
}

QVariant SheetModel::data(const QModelIndex& index, int role) const {
  if (sheet_ == nullptr || !index.isValid()) return {};
  const MemoryCell cell = sheet_->GetCell(index.column() + 1, SheetRow(index.row()) + 1);
  switch (role) {
    case Qt::DisplayRole:
      return cell.kind == CellKind::kMissing ? QVariant() : OneLineOf(cell);
    case Qt::TextAlignmentRole:
      return QVariant::fromValue((cell.kind == CellKind::kNumber ? Qt::AlignRight : Qt::AlignLeft) |
                                 Qt::AlignVCenter);
    case Qt::ForegroundRole:
      return cell.kind == CellKind::kText ? text_ : QVariant();
    case Qt::BackgroundRole:
      return cell.kind == CellKind::kMissing ? missing_ : QVariant();
    case Qt::ToolTipRole:
      switch (cell.kind) {
        case CellKind::kMissing:
          return tr("Missing");
        case CellKind::kNumber:
          return tr("Number");
        case CellKind::kText:
          return tr("Text: %1").arg(OneLineOf(cell)).toHtmlEscaped();
      }
      return {};
    case Qt::AccessibleDescriptionRole:
      return cell.kind == CellKind::kMissing ? tr("missing") : QVariant();
    default:
      return {};
  }
}

QVariant SheetModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole) return {};
  if (sheet_ == nullptr) return {};
  if (orientation == Qt::Vertical) return QString::number(SheetRow(section) + 1);
  // The name that the column mostly has stays in sight.
  const QString number = QString::number(section + 1);
  return has_names_ ? number + '\n' + OneLineOf(sheet_->GetCell(section + 1, 1)) : number;
}

}  // namespace nvimport
