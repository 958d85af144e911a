#pragma once

#include <QAbstractTableModel>
#include <QWidget>
#include <memory>
#include <vector>

#include "nvimport/framework/Description.h"

class QLineEdit;

namespace nvimport {

// What a file says of itself as a table: the row that it is about, the label, the value.
class DescriptionModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  // Null for none.
  void SetDescription(std::shared_ptr<const Description> description);
  // Shows the statements whose label or value holds `wanted`, whatever the case.
  void SetWanted(const QString& wanted);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 private:
  void Choose();

  std::shared_ptr<const Description> description_;
  QString wanted_;
  std::vector<std::size_t> shown_;  // statements
};

// The table with a line to search it by.
class DescriptionPanel : public QWidget {
  Q_OBJECT
 public:
  DescriptionPanel();

  void Show(std::shared_ptr<const Description> description);

 private:
  DescriptionModel model_;
};

}  // namespace nvimport
