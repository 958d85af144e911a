// Lotus 1-2-3 worksheets, with all the kept rules and with none. Input: the file.

#include "nvimport/formats/text/LotusFile.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

namespace {

void Read(const MemoryFile& bytes, const LotusRules& rules) {
  LotusFile file(rules);
  if (file.Open(true, bytes.path(), nullptr) != 0) return;
  const int rows = file.GetNumRows();
  const int columns = file.GetNumCols();
  // Formulas outside the range are delivered all the same.
  CheckingSink sink(CheckingSink::Beyond::kAllowed);
  if (file.Read(&sink) != 0) return;
  Check(sink.GetNumberOfRows() == rows && sink.GetNumberOfColumns() == columns,
        "the read sets the size that was asked before");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile bytes(InputReader(data, size).Text(size));
  Read(bytes, {});
  Read(bytes, LotusRules::Off());
  return 0;
}

}  // namespace nvimport
