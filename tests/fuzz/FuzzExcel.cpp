// An Excel workbook, plain so that the records are within reach. Input: a byte of settings, the
// file, which is read with all the kept rules and with none.
//   bit 1 side by side   bits 2-3 worksheets chosen

#include "nvimport/formats/workbook/ExcelFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 0);
  const MemoryFile workbook(input.substr(std::min<std::size_t>(1, input.size())));
  std::vector<int> sheets(static_cast<std::size_t>(settings >> 2 & 3), 1);
  if (sheets.size() > 1) sheets.back() = 2;
  OpenOptions options = OpenOptions::Made(ExcelFile::GetImportOptions(sheets, (settings & 2) == 0));
  for (const ExcelRules& rules : {ExcelRules(), ExcelRules::Off()}) {
    ExcelFile file(rules);
    if (file.Open(true, workbook.path(), options.get()) != 0 || file.GetNumRows() < 0) continue;
    Check(file.GetNumCols() >= 0, "a size has two sides");
    CheckingSink sink(rules.sizes_as_stated ? CheckingSink::Beyond::kAllowed
                                            : CheckingSink::Beyond::kForbidden);
    sink.SetDataSize(file.GetNumCols(), file.GetNumRows());
    const int status = file.Read(&sink);
    Check(status == 0 || status == 258, "a sheet is read, or ends in a bad record");
  }
}

}  // namespace nvimport
