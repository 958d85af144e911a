// Lotus 1-2-3 worksheets, with all the kept rules and with none. Input: the file.

#include "nvimport/formats/text/LotusFile.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile bytes(input);
  // Formulas outside the range are delivered all the same.
  LotusFile file;
  OpenAndRead(file, bytes.path(), nullptr, CheckingSink::Beyond::kAllowed);
  LotusFile without_rules(LotusRules::Off());
  OpenAndRead(without_rules, bytes.path());
}

}  // namespace nvimport
