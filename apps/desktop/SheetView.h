#pragma once

#include <QTableView>
#include <memory>
#include <optional>
#include <vector>

#include "apps/desktop/Curves.h"
#include "apps/desktop/SheetModel.h"

namespace nvimport {

// A cell's place, from 1.
struct CellPlace {
  int row = 1;
  int column = 1;
};

// "12,3", "12 3" or "R12C3".
std::optional<CellPlace> ParsePlace(const QString& text);

// The cell behind (or before) `from`, row by row and round the ends, whose text holds `wanted`,
// whatever the case. Numbers are looked at as they are shown.
std::optional<CellPlace> FindText(MemorySheet& sheet, const QString& wanted, CellPlace from,
                                  bool forward, const Report& report);

// Cells, from 1 and the last included.
struct CellRange {
  int first_row, last_row, first_column, last_column;
};
// The rows of texts of all ranges, apart by TABs; line breaks and TABs in them become blanks. Empty
// when `report` stops it, or when it is more than a clipboard can hold.
QString TabSeparated(const MemorySheet& sheet, const std::vector<CellRange>& ranges,
                     const Report& report);

// The table of a sheet.
class SheetView : public QTableView {
  Q_OBJECT
 public:
  explicit SheetView(QWidget* parent = nullptr);

  void SetSheet(std::shared_ptr<MemorySheet> sheet);
  void GoTo(CellPlace place);
  // The current cell.
  CellPlace Place() const;
  // What is selected, from above; none where that is nothing, or of different columns.
  std::vector<CellRange> Selected() const;
  // The rows (or the columns) that are selected, rising.
  std::vector<int> SelectedLines(Qt::Orientation orientation) const;
  void SelectLine(int line, Qt::Orientation orientation);

 signals:
  void SelectionChanged();

 protected:
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void changeEvent(QEvent* event) override;

 private:
  SheetModel model_;
};

}  // namespace nvimport
