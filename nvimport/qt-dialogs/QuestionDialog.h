#pragma once

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "nvimport/qt-dialogs/Questions.h"

namespace nvimport {

// A dialog with what is asked above and its buttons below. What is asked fills `body`.
class Question : public QDialog {
 public:
  static constexpr int kWidth = 520;  // of a prompt, before it is broken

  Question(QuestionWindow& window, const QString& title, const QString& prompt)
      : QDialog(window.window()), window_(window) {
    setWindowTitle(title);
    auto* const layout = new QVBoxLayout(this);
    auto* const said = new QLabel(prompt.trimmed());
    said->setTextFormat(Qt::PlainText);
    said->setWordWrap(true);
    said->setMinimumWidth(kWidth);
    said->setTextInteractionFlags(Qt::TextSelectableByMouse);
    said->setVisible(!prompt.isEmpty());
    layout->addWidget(said);
    body = new QVBoxLayout;
    layout->addLayout(body, 1);
    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
  }

  QVBoxLayout* body;

  // The focus begins with what is asked, and comes to the buttons behind it.
  bool IsAccepted() {
    layout()->addWidget(buttons_);
    if (begin != nullptr) begin->setFocus();
    return window_.Answer(*this) == QDialog::Accepted;
  }
  QWidget* begin = nullptr;

  void Allow(bool ok) { buttons_->button(QDialogButtonBox::Ok)->setEnabled(ok); }
  QPushButton* AddButton(const QString& text) {
    auto* const button = buttons_->addButton(text, QDialogButtonBox::ActionRole);
    button->setAutoDefault(false);
    return button;
  }

 private:
  QuestionWindow& window_;
  QDialogButtonBox* buttons_;
};

}  // namespace nvimport
