// DIF worksheets, in both code pages, with all the kept rules and with none. Input: the file. What
// it holds is written and read back: texts must come back as they were, without the rules those of
// several lines too.

#include <sstream>

#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/platform/Utf8.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

template <typename File>
void WriteAndReadBack(MemorySheet& sheet, const DIFRules& rules) {
  std::ostringstream out;
  File writer(rules);
  writer.Open(out, "title");
  Check(writer.Write(&sheet) == 0, "what was read is written");
  std::istringstream in(out.str());
  File reader(rules);
  MemorySheet back;
  reader.Open(in, "title");
  // A number's text goes between quotes now, so that a longest line no longer fits.
  const bool is_read = reader.Read(&back) == 0;
  Check(is_read || rules.short_lines_only, "lines of any length are read");
  if (!is_read) return;
  for (int row = 1; row <= sheet.GetNumberOfRows(); ++row)
    for (int column = 1; column <= sheet.GetNumberOfColumns(); ++column) {
      const std::string text = sheet.GetText(column, row);
      Check(text.find('\r') != std::string::npos || text == back.GetText(column, row),
            "the text came back");
    }
}

void Fuzz(std::string_view input) {
  const MemoryFile bytes(input);
  // Without its rules the size that the reader announces is the one that it was asked for.
  DIFFileOEM without_rules(DIFRules::Off());
  OpenAndRead(without_rules, bytes.path(), nullptr, CheckingSink::Beyond::kAllowed);
  DIFFileOEM whole(DIFRules::Off());
  MemorySheet all;
  if (whole.Open(true, bytes.path(), nullptr) == 0 && whole.Read(&all) == 0) {
    // Behind a quote a line may look like a record, and the code page lacks most characters.
    bool is_clear = true;
    for (int row = 1; row <= all.GetNumberOfRows(); ++row)
      for (int column = 1; column <= all.GetNumberOfColumns(); ++column) {
        const std::string_view text = all.GetText(column, row);
        is_clear = is_clear && IsAscii(text) && text.find("\"\n") == std::string_view::npos;
      }
    if (is_clear) WriteAndReadBack<DIFFileOEM>(all, DIFRules::Off());
  }
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
  WriteAndReadBack<DIFFile>(sheet, DIFRules());
}

}  // namespace nvimport
