#include "nvimport/qt-dialogs/FirstSpectrum.h"

#include <limits>
#include <utility>
#include <vector>

#include "nvimport/framework/ImportHelper.h"
#include "nvimport/framework/SpectraAxis.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

// Answers for the preview of a range, which is all of it.
class WholeRange : public Dialogs {
 public:
  // Nothing of it is worth a note.
  WholeRange() : before_(InstallForThread(this)), log_(Log::Install([](const LogEntry&) {})) {}
  WholeRange(const WholeRange&) = delete;
  WholeRange& operator=(const WholeRange&) = delete;
  ~WholeRange() override {
    Log::Install(std::move(log_));
    InstallForThread(before_);
  }

  std::optional<RangeChoice> SelectRange(const RangeQuestion&) override { return RangeChoice{}; }

 private:
  Dialogs* before_;
  Log::Sink log_;
};

std::vector<MemoryCell> RowOf(const MemorySheet& sheet, int columns, int row) {
  std::vector<MemoryCell> cells(static_cast<std::size_t>(columns));
  sheet.GetCells(1, row, cells);
  return cells;
}

}  // namespace

Spectrum ReadFirstSpectrum(const std::string& path, int format) {
  constexpr int kMostColumns = 1 << 20;
  const WholeRange dialogs;
  HeadSheet sheet(kMostColumns, 2);
  ImportHelper driver;
  driver.SetVerboseMode(false, false);
  if (format == 0) format = DetectFormat(path).format;
  if (format == 0 ||
      !driver.ReadSpreadsheetFile(path.c_str(), format, &sheet, nullptr, nullptr, true) ||
      sheet.head_rows() < 2)
    return {};
  const std::vector<MemoryCell> names = RowOf(sheet.head(), sheet.head_columns(), 1);
  const std::vector<MemoryCell> values = RowOf(sheet.head(), sheet.head_columns(), 2);
  const auto axis = FindSpectraAxis(names);
  if (!axis) return {};
  Spectrum spectrum{axis->x, {}};
  for (int column = axis->first_column; column <= axis->last_column(); ++column) {
    const MemoryCell& cell = values[static_cast<std::size_t>(column) - 1];
    spectrum.y.push_back(cell.kind == CellKind::kNumber ? cell.number
                                                        : std::numeric_limits<float>::quiet_NaN());
  }
  return spectrum;
}

}  // namespace nvimport
