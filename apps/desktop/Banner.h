#pragma once

#include <QFrame>
#include <QStringList>

class QLabel;
class QPushButton;

namespace nvimport {

// Above the sheet: what is not in it, or not in the plot, and what can be done.
class Banner : public QFrame {
  Q_OBJECT
 public:
  Banner();

  // Nothing is shown where there is nothing to say.
  void Show(const QStringList& lines, bool can_choose);

 signals:
  void ChoosesAgain();

 private:
  QLabel* lacking_;
  QPushButton* choose_;
};

}  // namespace nvimport
