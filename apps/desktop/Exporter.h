#pragma once

#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "apps/desktop/Import.h"
#include "apps/desktop/SheetView.h"

namespace nvimport {

class Jobs;
class Page;

// How much a sheet becomes as a file, and how long that takes.
struct ExportEstimate {
  int rows = 0;
  int columns = 0;
  double bytes = 0;
  double seconds = 0;

  // "1,000,000 rows x 20 columns, 20,000,000 cells, become about 182 MB in about 12 s".
  QString Words() const;
};

// By a few rows of it that are written beside. None where that fails or is stopped.
std::optional<ExportEstimate> EstimateExport(MemorySheet& sheet, const ExportKind& kind,
                                             JobProgress& progress);

// Writes sheets into files. Before one that takes long the user is asked.
class Exporter : public QObject {
  Q_OBJECT
 public:
  // Its messages belong to the window.
  Exporter(QWidget& window, Jobs& jobs);

  // Asks for a file and writes the sheet of a page, or these parts of it.
  void Choose(Page& page, const std::vector<CellRange>& parts);
  // The kind is a position in ExportKinds(), unless the name says another.
  void Write(Page& page, const QString& path, std::size_t kind,
             const std::vector<CellRange>& parts);

  // What goes without a question.
  struct Patience {
    double seconds = 5;
    double bytes = 500e6;
    std::uint64_t cells = 1'000'000;  // of fewer nothing is estimated
  };
  void SetPatience(const Patience& patience) { patience_ = patience; }

 signals:
  // Something was written, or not.
  void Finished();

 private:
  struct Task;
  void Begin(const std::shared_ptr<Task>& task);
  // Whether the user wants one that takes so long.
  bool IsWanted(const Task& task);

  QWidget& window_;
  Jobs& jobs_;
  Patience patience_;
};

}  // namespace nvimport
