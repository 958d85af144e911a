#include "apps/desktop/Exporter.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocale>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/desktop/FileDialogs.h"
#include "apps/desktop/FileNames.h"
#include "apps/desktop/Jobs.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/SheetText.h"
#include "apps/desktop/Trouble.h"

namespace nvimport {

namespace {

constexpr std::uint64_t kSampleCells = 100'000;
constexpr int kSampleParts = 4;

std::uint64_t Cells(MemorySheet& sheet) {
  return static_cast<std::uint64_t>(sheet.GetNumberOfRows()) *
         static_cast<std::uint64_t>(sheet.GetNumberOfColumns());
}

// Rows from all over a sheet.
std::vector<CellRange> SampleOf(int rows, int columns) {
  const auto wanted = static_cast<int>(kSampleCells / static_cast<std::uint64_t>(columns));
  const int length = std::clamp(wanted / kSampleParts, 1, std::max(rows / kSampleParts, 1));
  std::vector<CellRange> parts;
  for (int part = 0; part < std::min(kSampleParts, rows); ++part) {
    const auto first = static_cast<int>(std::int64_t{rows - length} * part / kSampleParts) + 1;
    parts.push_back({first, first + length - 1, 1, columns});
  }
  return parts;
}

QString About(double seconds) {
  constexpr double kMinute = 60;
  return seconds < 2 * kMinute ? QObject::tr("%1 s").arg(std::max(std::lround(seconds), 1L))
                               : QObject::tr("%1 minutes").arg(std::lround(seconds / kMinute));
}

}  // namespace

QString ExportEstimate::Words() const {
  const QLocale locale;
  return QObject::tr("%1 rows x %2 columns, %3 cells, become about %4 in about %5")
      .arg(locale.toString(rows), locale.toString(columns),
           locale.toString(qlonglong{rows} * columns),
           locale.formattedDataSize(static_cast<qint64>(bytes), 0, QLocale::DataSizeSIFormat),
           About(seconds));
}

std::optional<ExportEstimate> EstimateExport(MemorySheet& sheet, const ExportKind& kind,
                                             JobProgress& progress) {
  ExportEstimate estimate{sheet.GetNumberOfRows(), sheet.GetNumberOfColumns()};
  const QTemporaryDir folder;
  const auto sample = PartOf(sheet, SampleOf(estimate.rows, estimate.columns),
                             [&](auto, auto) { return progress.Advance(0, 0); });
  if (sample == nullptr || !folder.isValid()) return std::nullopt;
  const QString path = folder.filePath("sample") + FromBytes(kind.format.extension);
  QElapsedTimer time;
  time.start();
  if (!Export(*sample, Paths({path}).front(), kind, progress).written) return std::nullopt;
  const double times = static_cast<double>(Cells(sheet)) / static_cast<double>(Cells(*sample));
  constexpr double kNanoseconds = 1e9;
  estimate.seconds = static_cast<double>(time.nsecsElapsed()) / kNanoseconds * times;
  estimate.bytes = static_cast<double>(QFileInfo(path).size()) * times;
  return estimate;
}

struct Exporter::Task {
  QPointer<Page> page;
  QString path;
  ExportKind kind;
  std::shared_ptr<MemorySheet> cells;
  std::vector<CellRange> parts;
  std::optional<ExportEstimate> estimate;
};

Exporter::Exporter(QWidget& window, Jobs& jobs) : QObject(&window), window_(window), jobs_(jobs) {}

void Exporter::Choose(Page& page, const std::vector<CellRange>& parts) {
  if (const auto file = AskExport(&window_, page.read().again.files.front()))
    Write(page, file->path, file->kind, parts);
}

void Exporter::Write(Page& page, const QString& path, std::size_t kind,
                     const std::vector<CellRange>& parts) {
  const auto fitting = KindFor(path, kind);
  if (!fitting)
    return ShowTrouble(&window_,
                       {tr("No kind of file that can be written has such a name."),
                        {},
                        path,
                        tr("End the name as the list of types says, with .csv for instance.")});
  const auto task = std::make_shared<Task>(
      Task{&page, path, ExportKinds()[*fitting], page.read().sheet, parts, std::nullopt});
  jobs_.Run(
      tr("Looking how long %1 gets").arg(QFileInfo(path).fileName()),
      [task, least = patience_.cells, report = jobs_.Reporting(),
       &progress = jobs_.library().progress()] {
        if (!task->parts.empty()) task->cells = PartOf(*task->cells, task->parts, report);
        if (task->cells == nullptr) return false;
        if (Cells(*task->cells) >= least)
          task->estimate = EstimateExport(*task->cells, task->kind, progress);
        return !progress.stopped();
      },
      [this, task](bool goes_on) {
        if (goes_on && IsWanted(*task)) return Begin(task);
        jobs_.Tell(tr("Nothing was written."));
        emit Finished();
      });
}

bool Exporter::IsWanted(const Task& task) {
  if (!task.estimate) return true;
  const ExportEstimate& estimate = *task.estimate;
  const QStorageInfo disk(QFileInfo(task.path).absolutePath());
  const bool fits = !disk.isValid() || estimate.bytes < static_cast<double>(disk.bytesAvailable());
  if (fits && estimate.seconds < patience_.seconds && estimate.bytes < patience_.bytes) return true;
  QMessageBox box(fits ? QMessageBox::Question : QMessageBox::Warning, tr("Export"),
                  tr("%1.").arg(estimate.Words()), QMessageBox::Cancel, &window_);
  box.setTextFormat(Qt::PlainText);
  if (!fits)
    box.setInformativeText(
        tr("Only %1 are free there.")
            .arg(QLocale().formattedDataSize(disk.bytesAvailable(), 0, QLocale::DataSizeSIFormat)));
  box.setDefaultButton(box.addButton(tr("&Write"), QMessageBox::AcceptRole));
  box.exec();
  return box.buttonRole(box.clickedButton()) == QMessageBox::AcceptRole;
}

void Exporter::Begin(const std::shared_ptr<Task>& task) {
  jobs_.Run(
      tr("Writing %1").arg(QFileInfo(task->path).fileName()),
      [task, &progress = jobs_.library().progress()] {
        return Export(*task->cells, Paths({task->path}).front(), task->kind, progress);
      },
      [this, task](const ExportResult& result) {
        if (task->page != nullptr) task->page->TakeNotes(result.notes);
        if (result.trouble)
          ShowTrouble(&window_, *result.trouble);
        else
          jobs_.Tell(result.written ? tr("%1 is written.").arg(task->path)
                                    : tr("Nothing was written."));
        emit Finished();
      });
}

}  // namespace nvimport
