#include "apps/desktop/RecentFiles.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <utility>

#include "apps/desktop/FileNames.h"
#include "apps/desktop/Settings.h"

namespace nvimport {

namespace {

constexpr int kMost = 10;
constexpr const char* kRecent = "recent";

}  // namespace

RecentFiles::RecentFiles(const QString& title, std::function<void(const QStringList& files)> open)
    : QMenu(title), open_(std::move(open)) {
  connect(this, &QMenu::aboutToShow, this, &RecentFiles::Fill);
}

void RecentFiles::Fill() {
  clear();
  for (const QString& entry : Settings().value(kRecent).toStringList()) {
    const QStringList files = entry.split('\n');
    const std::vector<std::string> paths = Paths(files);
    const bool is_there = std::ranges::all_of(
        paths, [](const std::string& path) { return QFile::exists(ShownPath(path)); });
    QString name = tr("%1 in %2").arg(NameOf(paths), QFileInfo(files.front()).path());
    if (!is_there) name = tr("%1 (gone)").arg(name);
    QAction* const action = addAction(name.replace('&', "&&"));
    action->setEnabled(is_there);
    action->setToolTip(entry);
    action->setStatusTip(files.front());
    connect(action, &QAction::triggered, this, [this, files] { open_(files); });
  }
  if (isEmpty()) addAction(tr("None yet"))->setEnabled(false);
}

void RecentFiles::Remember(const std::vector<std::string>& files) {
  QStringList paths;
  for (const std::string& file : files)
    paths.push_back(QFileInfo(ShownPath(file)).absoluteFilePath());
  const QString entry = paths.join('\n');
  QSettings settings = Settings();
  QStringList recent = settings.value(kRecent).toStringList();
  recent.removeAll(entry);
  recent.push_front(entry);
  settings.setValue(kRecent, recent.mid(0, kMost));
}

}  // namespace nvimport
