// An Excel workbook, plain so that the records are within reach. Input: a byte of settings, the
// file, which is read with all the kept rules and with none.
//   bit 1 side by side   bits 2-3 worksheets chosen

#include <cstring>
#include <memory>
#include <vector>

#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

namespace {

class CellSink final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    Check(column >= 1 && row >= 1, "indices begin at 1");
    Check(std::strlen(text) < std::size_t{1} << 18, "a text ends");
  }
  void Set(int column, int row, float) override {
    Check(column >= 1 && row >= 1, "indices begin at 1");
  }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }
};

void Read(const MemoryFile& workbook, const ExcelRules& rules, NvImportOpenOptions* options) {
  ExcelFile file(rules);
  if (file.Open(true, workbook.path(), options) != 0 || file.GetNumRows() < 0) return;
  Check(file.GetNumCols() >= 0, "a size has two sides");
  CellSink sink;
  const int status = file.Read(&sink);
  Check(status == 0 || status == 258, "a sheet is read, or ends in a bad record");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader input = InputReader(data, size);
  const unsigned settings = input.U8();
  const MemoryFile workbook(input.Text(input.remaining()));
  std::vector<int> sheets(settings >> 2 & 3, 1);
  if (sheets.size() > 1) sheets.back() = 2;
  const std::unique_ptr<NvImportOpenOptions> options(
      ExcelFile::GetImportOptions(sheets, (settings & 2) == 0));
  Read(workbook, {}, options.get());
  Read(workbook, ExcelRules::Off(), options.get());
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  return 0;
}

}  // namespace nvimport
