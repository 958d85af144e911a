// Galactic SPC, read with the habits and without. Input: one file or two. Bytes of the first that
// no reader looks at say how it is read:
//   100, 101 the range   102 bit 0 names as texts, bit 1 a row of x values, bit 2 two files, cut in
//   the middle

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const int settings = Setting(input, 102);
  const bool two = (settings & 4) != 0;
  const std::size_t cut = two ? input.size() / 2 : input.size();
  const MemoryFile first(input.substr(0, cut));
  const MemoryFile second(input.substr(cut));
  const std::string path =
      two ? FileSelection::Join({first.path(), second.path()}) : std::string(first.path());
  OpenOptions options = OpenOptions::Made(
      GalacticSPCFile::GetImportOptions({Setting(input, 100) + 1, Setting(input, 101)}, {},
                                        (settings & 1) != 0, (settings & 2) != 0));
  for (const GalacticSPCRules rules : {GalacticSPCRules{}, GalacticSPCRules::Off()}) {
    GalacticSPCFile file(rules);
    OpenAndRead(file, path, options.get());
  }
}

}  // namespace nvimport
