#pragma once

#include <QStringList>
#include <QWidget>
#include <cstddef>
#include <optional>
#include <string>

#include "apps/desktop/PlotPicture.h"

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

// Where a plot goes, and how large it is there.
struct PictureToWrite {
  QString path;
  QSize size;  // in pixels at the usual resolution
  int resolution = PlotPicture::kUsualResolution;
};
// Asks for the size, beginning with that of `picture`. False when the user cancels.
bool AskSize(QWidget* parent, PictureToWrite& picture);
// Beginning with the size that is seen.
std::optional<PictureToWrite> AskPicture(QWidget* parent, const std::string& file, QSize size);

}  // namespace nvimport
