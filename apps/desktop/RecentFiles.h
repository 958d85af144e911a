#pragma once

#include <QMenu>
#include <QStringList>
#include <functional>
#include <string>
#include <vector>

namespace nvimport {

// The menu of the selections that were opened last.
class RecentFiles : public QMenu {
  Q_OBJECT
 public:
  RecentFiles(const QString& title, std::function<void(const QStringList& files)> open);

  // Puts a selection first, here and in runs to come.
  static void Remember(const std::vector<std::string>& files);

 private:
  void Fill();

  std::function<void(const QStringList& files)> open_;
};

}  // namespace nvimport
