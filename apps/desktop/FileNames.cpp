#include "apps/desktop/FileNames.h"

#include <QFile>
#include <QFileInfo>
#include <QObject>
#include <filesystem>
#include <system_error>

#include "apps/desktop/SheetText.h"
#include "nvimport/hosting/import/DatabaseSource.h"

namespace nvimport {

namespace {

// Of a path that is no UTF-8 the bytes that are shown as it is.
std::string PathBytes(const QString& path) {
  std::string bytes = QFile::encodeName(path).toStdString();
  std::error_code none;
  if (!path.contains(QChar::ReplacementCharacter) || std::filesystem::exists(bytes, none))
    return bytes;
  const std::filesystem::path folder = std::filesystem::path(bytes).parent_path();
  for (const auto& entry : std::filesystem::directory_iterator(folder, none))
    if (QFile::decodeName(entry.path().c_str()) == path) return entry.path();
  return bytes;
}

}  // namespace

QString NameOf(const std::vector<std::string>& files) {
  // What a database is called may have slashes.
  const QString first = DatabaseSource::IsOne(files.front())
                            ? FromBytes(files.front())
                            : QFileInfo(FromBytes(files.front())).fileName();
  return files.size() == 1
             ? first
             : QObject::tr("%1 and %2 more").arg(first, QString::number(files.size() - 1));
}

std::vector<std::string> Paths(const QStringList& paths) {
  std::vector<std::string> files;
  for (const QString& path : paths) files.push_back(PathBytes(path));
  return files;
}

QString ShownPath(const std::string& file) { return QFile::decodeName(file.c_str()); }

}  // namespace nvimport
