// An Excel 2007 workbook as a file: the archive, encrypted ones by their default password, and, as
// far as they unpack, its parts.

#include "nvimport/formats/workbook/Excel2007File.h"
#include "nvimport/formats/workbook/SheetExtent.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile workbook(input);
  OpenOptions options =
      OpenOptions::Made(Excel2007File::GetImportOptions({1}, /*above_and_below=*/true));
  Excel2007File file(Excel2007Rules::Off());
  if (file.Open(true, workbook.path(), options.get()) != 0) return;
  const int columns = file.GetNumCols();
  if (columns < 0) return;
  SheetExtent sink;
  file.Read(&sink);
  Check(sink.GetNumberOfColumns() <= columns, "no cell lies beyond the size");
}

}  // namespace nvimport
