// DIF worksheets, in both code pages, with all the kept rules and with none. Input: the file. What
// it holds is written and read back: texts without line breaks must come back as they were.

#include <sstream>
#include <string>

#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/framework/MemorySheet.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/Support.h"

namespace nvimport {

namespace {

// Without its rules the size that the reader announces is the one that it was asked for.
void ReadWithoutRules(const char* path) {
  DIFFileOEM file(DIFRules::Off());
  if (file.Open(true, path, nullptr) != 0) return;
  const int columns = file.GetNumCols();
  const int rows = file.GetNumRows();
  CheckingSink sink(CheckingSink::Beyond::kAllowed);
  if (rows < 0 || file.Read(&sink) != 0) return;
  Check(sink.GetNumberOfColumns() == columns && sink.GetNumberOfRows() == rows,
        "the size is the one asked for");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile bytes(InputReader(data, size).Text(size));
  ReadWithoutRules(bytes.path());
  DIFFile file;
  if (file.Open(true, bytes.path(), nullptr) != 0) return 0;
  const int rows = file.GetNumRows();
  MemorySheet sheet;
  const bool read = rows >= 0 && file.Read(&sheet) == 0;
  DIFFileOEM oem;
  MemorySheet converted;
  const bool read_oem = oem.Open(true, bytes.path(), nullptr) == 0 && oem.Read(&converted) == 0;
  Check(read == read_oem || rows < 0, "the code page decides nothing");
  if (!read || sheet.GetNumberOfColumns() == 0) return 0;
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
  if (reader.Read(&back) != 0) return 0;
  for (int row = 1; row <= rows; ++row)
    for (int column = 1; column <= sheet.GetNumberOfColumns(); ++column) {
      const std::string text = sheet.GetText(column, row);
      Check(text.find('\r') != std::string::npos || text == back.GetText(column, row),
            "the text came back");
    }
  return 0;
}

}  // namespace nvimport
