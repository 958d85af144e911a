#include "apps/desktop/FindBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>

namespace nvimport {

FindBar::FindBar() {
  auto* const layout = new QHBoxLayout(this);
  layout->setContentsMargins(6, 4, 6, 4);
  wanted_ = new QLineEdit;
  wanted_->setPlaceholderText(tr("Text or number to find"));
  wanted_->setClearButtonEnabled(true);
  auto* const label = new QLabel(tr("F&ind:"));
  label->setBuddy(wanted_);
  auto* const previous = new QPushButton(tr("&Previous"));
  auto* const next = new QPushButton(tr("&Next"));
  auto* const close = new QPushButton(tr("Close"));
  for (QWidget* part : std::initializer_list<QWidget*>{label, wanted_, previous, next, close})
    layout->addWidget(part, part == wanted_ ? 1 : 0);
  hide();
  connect(wanted_, &QLineEdit::returnPressed, this, &FindBar::Next);
  connect(next, &QPushButton::clicked, this, &FindBar::Next);
  connect(previous, &QPushButton::clicked, this, &FindBar::Previous);
  const auto end = [this] {
    hide();
    emit Closed();
  };
  connect(close, &QPushButton::clicked, this, end);
  auto* const escape =
      new QShortcut(Qt::Key_Escape, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
  connect(escape, &QShortcut::activated, this, end);
  connect(escape, &QShortcut::activatedAmbiguously, this, end);
}

void FindBar::Begin() {
  show();
  wanted_->setFocus();
  wanted_->selectAll();
}

QString FindBar::Text() const { return wanted_->text(); }

}  // namespace nvimport
