#include "apps/desktop/FileDialogs.h"

#include <QFileDialog>
#include <QFileInfo>
#include <algorithm>

#include "apps/desktop/FileNames.h"
#include "apps/desktop/Import.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

constexpr const char* kFolder = "folder";

}  // namespace

std::optional<FilesToOpen> AskFiles(QWidget* parent) {
  int first = 0;
  const QStringList filters = OpenFilters(first);
  QFileDialog dialog(parent, QObject::tr("Open"));
  dialog.setFileMode(QFileDialog::ExistingFiles);
  dialog.setNameFilters(filters);
  dialog.selectNameFilter(filters[first]);
  dialog.setDirectory(Settings().value(kFolder).toString());
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  Settings().setValue(kFolder, dialog.directory().path());
  return FilesToOpen{dialog.selectedFiles(),
                     std::max(static_cast<int>(filters.indexOf(dialog.selectedNameFilter())), 0)};
}

std::optional<FileToWrite> AskExport(QWidget* parent, const std::string& file) {
  const std::vector<ExportKind> kinds = ExportKinds();
  QStringList filters;
  for (const ExportKind& kind : kinds) filters.push_back(kind.filter);
  QFileDialog dialog(parent, QObject::tr("Export"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilters(filters);
  const QFileInfo input(ShownPath(file));
  dialog.setDirectory(input.absolutePath());
  dialog.selectFile(input.completeBaseName());
  const auto take_suffix = [&](const QString& filter) {
    const auto kind = static_cast<std::size_t>(std::max<qsizetype>(filters.indexOf(filter), 0));
    dialog.setDefaultSuffix(FromBytes(kinds[kind].format.extension).mid(1));
  };
  take_suffix(filters.front());
  QObject::connect(&dialog, &QFileDialog::filterSelected, parent, take_suffix);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  const auto kind = std::max<qsizetype>(filters.indexOf(dialog.selectedNameFilter()), 0);
  return FileToWrite{dialog.selectedFiles().front(), static_cast<std::size_t>(kind)};
}

std::optional<QString> AskPicture(QWidget* parent, const std::string& file) {
  QFileDialog dialog(parent, QObject::tr("Save plot"));
  dialog.setAcceptMode(QFileDialog::AcceptSave);
  dialog.setNameFilters({"PNG (*.png)", "SVG (*.svg)", "PDF (*.pdf)"});
  dialog.setDefaultSuffix("png");
  QObject::connect(&dialog, &QFileDialog::filterSelected, parent, [&](const QString& filter) {
    dialog.setDefaultSuffix(filter.left(3).toLower());
  });
  const QFileInfo input(ShownPath(file));
  dialog.setDirectory(input.absolutePath());
  dialog.selectFile(input.completeBaseName());
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return dialog.selectedFiles().front();
}

}  // namespace nvimport
