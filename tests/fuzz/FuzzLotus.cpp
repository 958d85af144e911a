// Lotus 1-2-3 worksheets. Input: the file.

#include "formats/text/LotusFile.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile bytes(InputReader(data, size).Text(size));
  LotusFile file;
  if (file.Open(true, bytes.path(), nullptr) != 0) return 0;
  const int rows = file.GetNumRows();
  const int columns = file.GetNumCols();
  // Formulas outside the range are delivered all the same.
  CheckingSink sink(CheckingSink::Beyond::kAllowed);
  if (file.Read(&sink) != 0) return 0;
  Check(sink.GetNumberOfRows() == rows && sink.GetNumberOfColumns() == columns,
        "the read sets the size that was asked before");
  return 0;
}
