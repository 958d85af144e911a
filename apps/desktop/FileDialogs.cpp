#include "apps/desktop/FileDialogs.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QSpinBox>
#include <algorithm>

#include "apps/desktop/FileNames.h"
#include "apps/desktop/Import.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

constexpr const char* kFolder = "folder";

}  // namespace

bool AskSize(QWidget* parent, PictureToWrite& picture) {
  constexpr int kLeast = 100;
  constexpr int kMost = 4000;
  QDialog dialog(parent);
  dialog.setWindowTitle(QObject::tr("Size of the plot"));
  auto* const form = new QFormLayout(&dialog);
  const auto add = [form](const QString& label, int value) {
    auto* const box = new QSpinBox;
    box->setRange(kLeast, kMost);
    box->setValue(value);
    form->addRow(label, box);
    return box;
  };
  QSpinBox* const width = add(QObject::tr("&Width, pixels:"), picture.size.width());
  QSpinBox* const height = add(QObject::tr("&Height, pixels:"), picture.size.height());
  auto* const resolution = new QComboBox;
  for (const int dots : {PlotPicture::kUsualResolution, 150, 300, 600})
    resolution->addItem(QObject::tr("%1 dots per inch").arg(dots), dots);
  form->addRow(QObject::tr("&Resolution:"), resolution);
  // Of the others every size is sharp.
  resolution->setEnabled(QFileInfo(picture.path).suffix().toLower() == "png");
  resolution->setToolTip(QObject::tr("More dots make the same picture with more pixels"));
  auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  form->addRow(buttons);
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  width->setFocus();
  if (dialog.exec() != QDialog::Accepted) return false;
  picture.size = {width->value(), height->value()};
  picture.resolution = resolution->currentData().toInt();
  return true;
}

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

std::optional<PictureToWrite> AskPicture(QWidget* parent, const std::string& file, QSize size) {
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
  PictureToWrite picture{dialog.selectedFiles().front(), size};
  return AskSize(parent, picture) ? std::optional(picture) : std::nullopt;
}

}  // namespace nvimport
