// The records of a worksheet, against a plain reading of them. Input: a byte, bit 0 for BIFF8, then
// the records behind the first ROW.

#include "nvimport/formats/workbook/ExcelFile.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/BiffFixture.h"
#include "tests/support/ReferenceBiff.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  if (input.empty()) return;
  const bool is_biff8 = (input[0] & 1) != 0;
  const std::string records(input.substr(1));
  // Two formats, of which one is a date's, and three shared strings.
  std::string globals = Record(0x00E0, U16(0) + U16(0) + std::string(16, '\0')) +
                        Record(0x00E0, U16(0) + U16(14) + std::string(16, '\0'));
  std::vector<std::string> strings;
  if (is_biff8) {
    strings = {"one", "", "three"};
    std::string table = U32(3) + U32(3);
    for (const std::string& text : strings) table += Text8(text);
    globals += Record(0x00FC, table);
  }
  const MemoryFile file(WorkbookFixture{{{.cells = records}}, globals, is_biff8}.Stream());

  ExcelFile reader;
  CheckingSink got(CheckingSink::Beyond::kAllowed, /*keeps=*/true);
  Check(reader.Open(true, file.path(), nullptr) == 0 && reader.GetNumRows() == 2,
        "the workbook around the records is good");
  const bool is_read = reader.Read(&got) == 0;

  CheckingSink expected(CheckingSink::Beyond::kAllowed, /*keeps=*/true);
  ReferenceBiff reference(records + Eof(), is_biff8, {false, true}, strings);
  Check(reference.Read(expected) == is_read, "both read to the end, or neither");
  Check(got.cells.size() == expected.cells.size(), "both see as many cells");
  for (std::size_t i = 0; i < got.cells.size(); ++i) {
    const auto& a = got.cells[i];
    const auto& b = expected.cells[i];
    Check(a.column == b.column && a.row == b.row, "both see them in the same places");
    Check(a.text == b.text || b.text == ReferenceBiff::kAnyText, "and with the same contents");
  }
}

}  // namespace nvimport
