#include "apps/desktop/DescriptionPanel.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QVBoxLayout>
#include <utility>

#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

enum Column : int { kRow, kLabel, kValue, kColumns };

// Of a long value the beginning; the tool tip has more of it.
constexpr std::size_t kMostShown = 300;
constexpr std::size_t kMostTip = 4000;

}  // namespace

void DescriptionModel::SetDescription(std::shared_ptr<const Description> description) {
  description_ = std::move(description);
  Choose();
}

void DescriptionModel::SetWanted(const QString& wanted) {
  wanted_ = wanted;
  Choose();
}

void DescriptionModel::Choose() {
  beginResetModel();
  shown_.clear();
  const std::size_t count = description_ == nullptr ? 0 : description_->statements().size();
  for (std::size_t i = 0; i < count; ++i) {
    const Statement& statement = description_->statements()[i];
    const auto holds = [&](const std::string& text) {
      return FromBytes(text).contains(wanted_, Qt::CaseInsensitive);
    };
    if (wanted_.isEmpty() || holds(statement.label) || holds(statement.value)) shown_.push_back(i);
  }
  endResetModel();
}

int DescriptionModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int DescriptionModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : int{kColumns};
}

QVariant DescriptionModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) return {};
  const Statement& statement =
      description_->statements()[shown_[static_cast<std::size_t>(index.row())]];
  const std::size_t most = role == Qt::ToolTipRole ? kMostTip : kMostShown;
  switch (index.column()) {
    case kRow:
      return statement.row > 0 ? QVariant(statement.row) : QVariant();
    case kLabel:
      return FromBytes(statement.label);
    default: {
      const QString text = FromBytes(std::string_view(statement.value).substr(0, most));
      return role == Qt::ToolTipRole ? text.toHtmlEscaped() : text.simplified();
    }
  }
}

QVariant DescriptionModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (role != Qt::DisplayRole || orientation == Qt::Vertical) return {};
  return section == kRow ? tr("Row") : section == kLabel ? tr("Label") : tr("Value");
}

DescriptionPanel::DescriptionPanel() {
  auto* const wanted = new QLineEdit;
  wanted->setPlaceholderText(tr("Label or value to find"));
  wanted->setClearButtonEnabled(true);
  auto* const label = new QLabel(tr("&Search:"));
  label->setBuddy(wanted);
  auto* const table = new QTableView;
  table->setModel(&model_);
  table->setAccessibleName(tr("Description"));
  table->setTabKeyNavigation(false);
  table->setWordWrap(false);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->verticalHeader()->hide();
  table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
  table->horizontalHeader()->setStretchLastSection(true);
  table->setColumnWidth(kRow, fontMetrics().horizontalAdvance("000000"));
  table->setColumnWidth(kLabel, fontMetrics().horizontalAdvance('0') * 18);
  auto* const line = new QHBoxLayout;
  line->addWidget(label);
  line->addWidget(wanted, 1);
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->addLayout(line);
  layout->addWidget(table, 1);
  connect(wanted, &QLineEdit::textChanged, &model_, &DescriptionModel::SetWanted);
}

void DescriptionPanel::Show(std::shared_ptr<const Description> description) {
  model_.SetDescription(std::move(description));
}

}  // namespace nvimport
