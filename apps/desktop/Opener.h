#pragma once

#include <QObject>
#include <QStringList>
#include <deque>
#include <functional>
#include <optional>

#include "apps/desktop/Import.h"

namespace nvimport {

class DatabaseDialog;
class Jobs;
class WindowDialogs;

// Reads files, one selection after the other.
class Opener : public QObject {
  Q_OBJECT
 public:
  // What is read is given to `shows`; messages belong to the window.
  Opener(QWidget& window, Jobs& jobs, WindowDialogs& dialogs,
         std::function<void(OpenResult)> shows);

  // Whether files are read as years ago, now and when the window is opened again.
  bool kept_rules() const { return kept_rules_; }
  void SetKeptRules(bool kept);

  // Asks for files and reads them, as one selection or each.
  void Choose(bool each);
  void OpenFiles(const QStringList& paths, std::optional<int> filter = std::nullopt);
  void OpenEach(const QStringList& paths);
  void OpenDropped(const QStringList& paths);
  // Shows the dialog that asks for a database, as it was left.
  void ChooseDatabase();
  void OpenDatabase(const DatabaseQuery& query);
  // The same once more, asking nothing; or asking everything.
  void ReadAgain(const OpenResult& last);
  void ChooseAgain(const OpenResult& last);
  // Goes on with those that wait, or leaves them.
  void OpenNext();
  void Forget() { queue_.clear(); }

 signals:
  void Failed();

 private:
  void Start(const OpenRequest& request, bool remembers);
  void Take(OpenResult result, bool remembers);

  QWidget& window_;
  Jobs& jobs_;
  WindowDialogs& dialogs_;
  std::function<void(OpenResult)> shows_;
  bool kept_rules_;
  DatabaseDialog* databases_ = nullptr;  // once it was asked for
  std::deque<QString> queue_;
};

}  // namespace nvimport
