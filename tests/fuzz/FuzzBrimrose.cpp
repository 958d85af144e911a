// Brimrose. Input: one file. Bytes of its header that no reader looks at say how it is read:
//   100, 101 the rows   102, 103 the columns

#include "nvimport/formats/spectra/BrimroseFile.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto setting = [&](std::size_t at) { return at < size ? data[at] : std::uint8_t{0}; };
  static const MemoryFile content;
  content.Put(InputReader(data, size).Text(size));
  const std::unique_ptr<NvImportOpenOptions> options(BrimroseFile::GetImportOptions(
      {setting(100) + 1, setting(101)}, {setting(102) + 1, setting(103)}));
  BrimroseFile file;
  const bool opened = file.Open(true, content.path(), options.get()) == 0;
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  if (!opened) return 0;
  const int rows = file.GetNumRows();
  const int columns = file.GetNumCols();
  CheckingSink sink;
  const int status = file.Read(&sink);
  Check(rows < 0 || (sink.GetNumberOfRows() == rows && sink.GetNumberOfColumns() == columns),
        "the read sets the size that was asked before");
  Check(status == 0 || !BrimroseFile::IsBrimroseFile(content.path()),
        "a file that is surely one can be read");
  return 0;
}

}  // namespace nvimport
