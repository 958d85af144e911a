// The readers of files within a compound file: TIVON worksheets and Excel workbooks. Input: the
// file.

#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/formats/workbook/TivonFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile bytes(input);
  const auto read = [&](SpreadsheetFile& file, NvImportOpenOptions* made) {
    OpenAndRead(file, bytes.path(), OpenOptions::Made(made).get(), CheckingSink::Beyond::kAllowed);
    file.Close();
    Check(file.GetStatus() == 0, "a closed file has no status");
  };
  TivonFile tivon;
  read(tivon, TextFile::GetImportOptions("\t", false));
  for (const ExcelRules& rules : {ExcelRules(), ExcelRules::Off()}) {
    ExcelFile excel(rules);
    read(excel, ExcelFile::GetImportOptions({1}, true));
  }
}

}  // namespace nvimport
