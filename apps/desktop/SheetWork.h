#pragma once

#include <QObject>
#include <optional>
#include <vector>

#include "apps/desktop/SheetView.h"

namespace nvimport {

class Jobs;
class Page;
class Pages;

// What is done with the sheet that is seen: copying, finding, choosing rows.
class SheetWork : public QObject {
  Q_OBJECT
 public:
  SheetWork(QWidget& window, Jobs& jobs, Pages& pages);

  // What is selected, under the names of its columns if `with_names`; none where that is nothing.
  std::vector<CellRange> Selected(bool with_names) const;
  // That, or nothing for the whole sheet. None, which the user is told, where it can't be written.
  std::optional<std::vector<CellRange>> PartsToWrite(bool only_selected);
  void Copy(bool with_names);
  void Find(const QString& wanted, bool forward);
  // Asks for a cell and goes there.
  void GoTo();
  // Asks for what rows are to hold.
  void ChooseRows();
  // Has these rows looked at, in that order.
  void ShowRows(const RowChoice& choice);
  // By the column of the current cell.
  void Sort(bool falls);

 signals:
  void RowsShown();
  void Finished();

 private:
  Page* page() const;

  QWidget& window_;
  Jobs& jobs_;
  Pages& pages_;
};

}  // namespace nvimport
