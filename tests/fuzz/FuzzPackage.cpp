// An Excel 2007 workbook as a file: the archive and, as far as they unpack, its parts.

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/SheetExtent.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ByteReader input = InputReader(data, size);
  const MemoryFile workbook(input.Text(input.remaining()));
  const std::unique_ptr<NvImportOpenOptions> options(
      Excel2007File::GetImportOptions({1}, /*above_and_below=*/true));
  Excel2007File file;
  if (file.Open(true, workbook.path(), options.get()) == 0) {
    const int columns = file.GetNumCols();
    SheetExtent sink;
    file.Read(&sink);
    Check(sink.GetNumberOfColumns() <= columns, "no cell lies beyond the size");
  }
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  return 0;
}

}  // namespace nvimport
