#pragma once

#include <QDialog>
#include <optional>
#include <string>

#include "apps/desktop/Databases.h"

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

namespace nvimport {

class Jobs;
class SheetView;

// Asks for a database and what is to be read of it, and shows what that gives. It leaves the window
// usable. A password that was given is known until it is closed.
class DatabaseDialog : public QDialog {
  Q_OBJECT
 public:
  DatabaseDialog(QWidget* window, Jobs& jobs, WindowDialogs& dialogs);

  // Writes the query without passwords.
  void SaveTo(const QString& path);

  void done(int result) override;

 signals:
  // That query is to be imported.
  void Wanted(const DatabaseQuery& query);

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  void MakeLists();
  void MakeButtons();
  DatabaseQuery query() const;
  // What can be done now.
  void Update();
  // Lists the tables, or shows the first rows of the query.
  void Look(bool lists_tables);
  void Stop();
  void Show(const DatabaseQuery& query, DatabaseLook look);
  void TakeTable();
  void Save();

  Jobs& jobs_;
  WindowDialogs& dialogs_;
  QComboBox* connection_;
  QTreeWidget* tables_;
  QPlainTextEdit* statement_;
  SheetView* head_;
  QLabel* said_;
  QPushButton* list_;
  QPushButton* preview_;
  QPushButton* stop_;
  QPushButton* save_;
  QPushButton* import_;
  QString proposed_;  // the statement for the table that was last chosen
  std::string known_as_;
  std::optional<std::string> password_;  // of that database
  bool looks_ = false;
};

}  // namespace nvimport
