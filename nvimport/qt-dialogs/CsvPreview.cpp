#include "nvimport/qt-dialogs/CsvPreview.h"

#include <utility>
#include <vector>

#include "nvimport/formats/text/CsvFile.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Log.h"

namespace nvimport {

namespace {

// Nothing of a preview is worth a note.
class QuietLog {
 public:
  QuietLog() : log_(Log::InstallForThread([](const LogEntry&) {})) {}
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;
  ~QuietLog() { Log::InstallForThread(std::move(log_)); }

 private:
  Log::Sink log_;
};

}  // namespace

PreviewRows PreviewCsv(const std::string& path, const TextReading& reading, int rows, int columns) {
  const QuietLog quiet;
  HeadSheet sheet(columns, rows);
  CsvFile file(CsvRules::Off());
  const auto pairs = OptionPairs::Parse(std::string_view(reading.CsvPairs()));
  std::vector<unsigned char> bytes = pairs ? pairs->Bytes() : std::vector<unsigned char>();
  NvImportOpenOptions options{static_cast<int>(bytes.size()), bytes.data()};
  if (file.Open(true, path.c_str(), &options) == kGood) {
    file.LeaveSizeOpen();
    file.Read(&sheet);
  }
  file.Close();
  PreviewRows cells(static_cast<std::size_t>(sheet.head_rows()));
  for (int row = 1; row <= sheet.head_rows(); ++row)
    for (int column = 1; column <= sheet.head_columns(); ++column)
      cells[static_cast<std::size_t>(row - 1)].emplace_back(sheet.head().GetCell(column, row).text);
  return cells;
}

}  // namespace nvimport
