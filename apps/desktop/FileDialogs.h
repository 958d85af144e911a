#pragma once

#include <QStringList>
#include <QWidget>
#include <cstddef>
#include <optional>
#include <string>

namespace nvimport {

// The window's file dialogs. None is what the user cancelled.

struct FilesToOpen {
  QStringList paths;
  int filter = 0;  // of the open dialog, from 0
};
std::optional<FilesToOpen> AskFiles(QWidget* parent);

struct FileToWrite {
  QString path;
  std::size_t kind = 0;  // in ExportKinds()
};
// Beside `file`, which the sheet came from.
std::optional<FileToWrite> AskExport(QWidget* parent, const std::string& file);

std::optional<QString> AskPicture(QWidget* parent, const std::string& file);

}  // namespace nvimport
