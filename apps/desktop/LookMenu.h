#pragma once

#include <QMenu>
#include <vector>

#include "apps/desktop/Look.h"

namespace nvimport {

// The menu of what is done to curves for looking only.
class LookMenu : public QMenu {
  Q_OBJECT
 public:
  explicit LookMenu(const QString& title);

  // Marks what is chosen.
  void Mark(const Look& look);

 signals:
  void Chosen(const Look& look);

 private:
  // Adds a choice that `change` makes of what is chosen by now.
  template <typename Value>
  void Add(QMenu& menu, QActionGroup& group, const QString& text, Value Look::*part, Value value);

  Look look_;
  std::vector<std::pair<QAction*, std::function<bool(const Look&)>>> marks_;
};

}  // namespace nvimport
