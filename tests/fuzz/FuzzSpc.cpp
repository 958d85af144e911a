// Galactic SPC, read with the habits and without. Input: one file or two. Bytes of the first that
// no reader looks at say how it is read:
//   100, 101 the range   102 bit 0 names as texts, bit 1 a row of x values, bit 2 two files, cut in
//   the middle

#include <string>

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/support/CheckingSink.h"
#include "tests/support/MemoryFile.h"

namespace nvimport {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kSettings = 100;
  ByteReader input = InputReader(data, size);
  const auto setting = [&](std::size_t at) {
    return kSettings + at < size ? data[kSettings + at] : std::uint8_t{0};
  };
  const RangeChoice range{setting(0) + 1, setting(1)};
  const unsigned settings = setting(2);
  const bool two = (settings & 4) != 0;
  const MemoryFile first(input.Text(two ? input.remaining() / 2 : input.remaining()));
  const MemoryFile second(input.Text(input.remaining()));
  const std::string path =
      two ? FileSelection::Join({first.path(), second.path()}) : std::string(first.path());

  const std::unique_ptr<NvImportOpenOptions> options(
      GalacticSPCFile::GetImportOptions(range, {}, (settings & 1) != 0, (settings & 2) != 0));
  for (const GalacticSPCRules rules : {GalacticSPCRules{}, GalacticSPCRules::Off()}) {
    GalacticSPCFile file(rules);
    if (file.Open(true, path.c_str(), options.get()) == 0) ReadAsAnnounced(file);
  }
  SpreadsheetOpenOptions::FreeOpenOptions(options.get());
  return 0;
}

}  // namespace nvimport
