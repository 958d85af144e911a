#pragma once

#include <QAbstractTableModel>
#include <QBrush>
#include <memory>

#include "nvimport/framework/MemorySheet.h"

namespace nvimport {

// A sheet as a table. Numbers stand right, texts left and in a colour of their own, missing cells
// are hatched.
class SheetModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  using QAbstractTableModel::QAbstractTableModel;

  void SetSheet(std::shared_ptr<MemorySheet> sheet);
  void SetColors(const QPalette& palette);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  std::shared_ptr<MemorySheet> sheet_;
  int rows_ = 0;
  int columns_ = 0;
  QBrush text_;
  QBrush missing_;
};

}  // namespace nvimport
