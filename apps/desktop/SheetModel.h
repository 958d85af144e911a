#pragma once

#include <QAbstractTableModel>
#include <QBrush>
#include <memory>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/qt-dialogs/TextReading.h"

namespace nvimport {

// A sheet as a table. Numbers stand right, texts left and in a colour of their own, missing cells
// are hatched.
class SheetModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  using QAbstractTableModel::QAbstractTableModel;

  // What was said of a text decides what counts as a number, and whether the first row is names.
  void SetSheet(std::shared_ptr<MemorySheet> sheet, const TextReading& text = {});
  // Shows these rows, from 1 and in this order; null for all of them.
  void SetRows(std::shared_ptr<const std::vector<int>> rows);
  // Whether the first row has the names of the columns and nothing else.
  bool has_names() const { return has_names_; }
  // The row of the sheet that stands in a row of the table, both from 0; and where one stands, -1
  // for nowhere.
  int SheetRow(int shown) const;
  int ShownRow(int row) const;
  bool shows_all() const { return shown_ == nullptr; }
  void SetColors(const QPalette& palette);

  // What a cell shows, in one go.
  struct Seen {
    QString text;
    bool is_right = false;
    const QBrush* text_brush = nullptr;  // null for that of the table
    const QBrush* ground = nullptr;      // likewise
  };
  Seen See(const QModelIndex& index) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  std::shared_ptr<MemorySheet> sheet_;
  std::shared_ptr<const std::vector<int>> shown_;  // rows, null for all
  bool has_names_ = false;
  int rows_ = 0;
  int columns_ = 0;
  QBrush text_;
  QBrush missing_;
};

}  // namespace nvimport
