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

// The cells of all ranges, those of the second below those of the first; null when `report` stops
// it.
std::shared_ptr<MemorySheet> PartOf(const MemorySheet& sheet, const std::vector<CellRange>& ranges,
                                    const Report& report);

// Which rows are looked at, and in which order; the sheet stays as it is.
struct RowChoice {
  int sorted_by = 0;  // the column, from 1; 0 for none
  bool falls = false;
  QString wanted{};  // that a row's texts or numbers hold, whatever the case; empty for any

  bool operator==(const RowChoice&) const = default;
  // "sorted by column 3, 12 of 40 rows"
  QString Words(std::size_t shown, int rows) const;
};
// Those rows: numbers, texts that are such too, before texts before what is missing. The first
// stays above all where it has `names`. None when `report` stops it.
std::optional<std::vector<int>> ChosenRows(const MemorySheet& sheet, int columns, int rows,
                                           bool names, NumberMarks marks, const RowChoice& choice,
                                           const Report& report);

// The table of a sheet. Names of columns stand in its header alone; names of rows stay in sight.
class SheetView : public QTableView {
  Q_OBJECT
 public:
  explicit SheetView(QWidget* parent = nullptr);

  void SetSheet(std::shared_ptr<MemorySheet> sheet, const TextReading& text = {});
  // Shows these rows; null for all.
  void ShowRows(std::shared_ptr<const std::vector<int>> rows);
  bool has_names() const { return model_.has_names(); }
  void GoTo(CellPlace place);
  // The current cell.
  CellPlace Place() const;
  // What is selected, from above; none where that is nothing, or of different columns.
  std::vector<CellRange> Selected() const;
  // The rows (or the columns) that are selected, rising.
  std::vector<int> SelectedLines(Qt::Orientation orientation) const;
  void SelectLine(int line, Qt::Orientation orientation);
  void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;

 signals:
  void SelectionChanged();
  // A row was to be gone to that was not shown.
  void AllRowsShown();

 protected:
  void selectionChanged(const QItemSelection& selected, const QItemSelection& deselected) override;
  void changeEvent(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void MakeFrozen();
  void FitColumns();
  // The columns up to that with the names of rows, 0 where none has.
  int NamedColumns() const;
  void PlaceFrozen();

  SheetModel model_;
  QTableView* frozen_ = nullptr;  // over the first columns
  int frozen_columns_ = 0;
};

}  // namespace nvimport
