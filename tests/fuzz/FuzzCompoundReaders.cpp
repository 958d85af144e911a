// The readers of files within a compound file: TIVON worksheets and Excel workbooks. Input: the
// file.

#include <memory>

#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/TivonFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

namespace {

void Read(SpreadsheetFile& file, const MemoryFile& bytes, NvImportOpenOptions* made) {
  const std::unique_ptr<NvImportOpenOptions> options(made);
  const bool opened = file.Open(true, bytes.path(), options.get()) == 0;
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  if (opened) ReadAsAnnounced(file, CheckingSink::Beyond::kAllowed);
  file.Close();
  Check(file.GetStatus() == 0, "a closed file has no status");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile bytes(InputReader(data, size).Text(size));
  TivonFile tivon;
  Read(tivon, bytes, TextFile::GetImportOptions("\t", false));
  for (const ExcelRules& rules : {ExcelRules(), ExcelRules::Off()}) {
    ExcelFile excel(rules);
    Read(excel, bytes, ExcelFile::GetImportOptions({1}, true));
  }
  return 0;
}

}  // namespace nvimport
