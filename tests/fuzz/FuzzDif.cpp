// DIF worksheets, in both code pages, with all the kept rules and with none. Input: the file. What
// it holds is written and read back: texts without line breaks must come back as they were.

#include <sstream>

#include "nvimport/formats/text/DIFFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile bytes(input);
  // Without its rules the size that the reader announces is the one that it was asked for.
  DIFFileOEM without_rules(DIFRules::Off());
  OpenAndRead(without_rules, bytes.path(), nullptr, CheckingSink::Beyond::kAllowed);
  DIFFile file;
  if (file.Open(true, bytes.path(), nullptr) != 0) return;
  const int rows = file.GetNumRows();
  MemorySheet sheet;
  const bool read = rows >= 0 && file.Read(&sheet) == 0;
  DIFFileOEM oem;
  MemorySheet converted;
  const bool read_oem = oem.Open(true, bytes.path(), nullptr) == 0 && oem.Read(&converted) == 0;
  Check(read == read_oem || rows < 0, "the code page decides nothing");
  if (!read || sheet.GetNumberOfColumns() == 0) return;
  Check(sheet.GetNumberOfRows() == rows, "the rows are those that were counted");

  std::ostringstream out;
  DIFFile writer;
  writer.Open(out, "title");
  Check(writer.Write(&sheet) == 0, "what was read is written");
  std::istringstream in(out.str());
  DIFFile reader;
  MemorySheet back;
  reader.Open(in, "title");
  // A number's text goes between quotes now, so that a longest line no longer fits.
  if (reader.Read(&back) != 0) return;
  for (int row = 1; row <= rows; ++row)
    for (int column = 1; column <= sheet.GetNumberOfColumns(); ++column) {
      const std::string text = sheet.GetText(column, row);
      Check(text.find('\r') != std::string::npos || text == back.GetText(column, row),
            "the text came back");
    }
}

}  // namespace nvimport
