#pragma once

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <functional>
#include <utility>
#include <vector>

namespace nvimport {

inline QString Sample(const char* name) { return QStringLiteral(NVIMPORT_TEST_SAMPLES "/") + name; }

inline QPushButton& OkButton(QDialog& dialog) {
  return *dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
}
inline void PressOk(QDialog& dialog) { OkButton(dialog).click(); }

// Answers the dialogs that come, one after the other, as a user would. One that nobody waits for is
// cancelled, and counted.
class NextDialog : public QObject {
 public:
  using Answer = std::function<void(QDialog& dialog)>;

  NextDialog() {
    connect(&timer_, &QTimer::timeout, this, [this] { Look(); });
    timer_.start(10);
  }

  void Expect(Answer answer) { answers_.push_back(std::move(answer)); }
  int unexpected() const { return unexpected_; }
  bool all_came() const { return answers_.empty(); }

 private:
  void Look() {
    QDialog* dialog = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
      if (auto* const shown = qobject_cast<QDialog*>(widget);
          shown != nullptr && shown->isVisible() && shown != answered_)
        dialog = shown;
    if (dialog == nullptr) return;
    answered_ = dialog;
    if (answers_.empty()) {
      ++unexpected_;
      for (const QLabel* label : dialog->findChildren<QLabel*>()) qWarning() << label->text();
      dialog->reject();
      return;
    }
    const Answer answer = std::move(answers_.front());
    answers_.erase(answers_.begin());
    answer(*dialog);
  }

  QTimer timer_;
  std::vector<Answer> answers_;
  QPointer<QDialog> answered_;
  int unexpected_ = 0;
};

// Keys to whatever has the focus in the dialog.
inline void Press(QDialog& dialog, std::initializer_list<int> keys) {
  for (const int key : keys) {
    QWidget* const focus = dialog.focusWidget() != nullptr ? dialog.focusWidget() : &dialog;
    QTest::keyClick(focus, static_cast<Qt::Key>(key));
  }
}

}  // namespace nvimport
