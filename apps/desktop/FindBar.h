#pragma once

#include <QWidget>

class QLineEdit;

namespace nvimport {

// The line below the sheet in which is written what to look for.
class FindBar : public QWidget {
  Q_OBJECT
 public:
  FindBar();

  void Begin();
  void Next() { emit Wanted(Text(), true); }
  void Previous() { emit Wanted(Text(), false); }

 signals:
  void Wanted(const QString& text, bool forward);
  void Closed();

 private:
  QString Text() const;

  QLineEdit* wanted_;
};

}  // namespace nvimport
