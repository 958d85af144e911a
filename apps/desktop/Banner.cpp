#include "apps/desktop/Banner.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

namespace nvimport {

Banner::Banner() {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::ToolTipBase);
  auto* const layout = new QHBoxLayout(this);
  layout->setContentsMargins(8, 4, 8, 4);
  lacking_ = new QLabel;
  lacking_->setObjectName("lacking");
  lacking_->setForegroundRole(QPalette::ToolTipText);
  lacking_->setTextFormat(Qt::PlainText);
  lacking_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  lacking_->setWordWrap(true);
  choose_ = new QPushButton(tr("&Choose again..."));
  choose_->setToolTip(tr("Reads the file once more and asks what to take of it"));
  auto* const close = new QPushButton(tr("Hide"));
  layout->addWidget(lacking_, 1);
  layout->addWidget(choose_);
  layout->addWidget(close);
  hide();
  connect(choose_, &QPushButton::clicked, this, &Banner::ChoosesAgain);
  connect(close, &QPushButton::clicked, this, &QWidget::hide);
}

void Banner::Show(const QStringList& lines, bool can_choose) {
  lacking_->setText(lines.join('\n'));
  choose_->setVisible(can_choose);
  setVisible(!lines.isEmpty());
}

}  // namespace nvimport
