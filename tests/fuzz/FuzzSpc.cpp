// Galactic SPC, read with the habits and without. Input: one file or two. Bytes of the first that
// no reader looks at say how it is read:
// A file that is cut gives the first cells of the whole one, but for the names of its spectra.
//   100, 101 the range   102 bit 0 names as texts, bit 1 a row of x values, bit 2 two files, cut in
//   the middle

#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

namespace {

// Those of a file that can be read without the habits.
std::vector<CheckingSink::SeenCell> CellsOf(std::string_view bytes, NvImportOpenOptions* options) {
  const MemoryFile memory(bytes);
  GalacticSPCFile file(GalacticSPCRules::Off());
  CheckingSink sink(CheckingSink::Beyond::kForbidden, /*keeps=*/true);
  if (file.Open(true, memory.path(), options) != 0 || file.Read(&sink) != 0) return {};
  return std::move(sink.cells);
}

}  // namespace

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

  constexpr unsigned kOwnX = 0xc0;
  if (two || (static_cast<unsigned>(Setting(input, 0)) & kOwnX) == kOwnX) return;
  const std::vector<CheckingSink::SeenCell> cells = CellsOf(input, options.get());
  const std::vector<CheckingSink::SeenCell> fewer =
      CellsOf(input.substr(0, input.size() - input.size() / 3), options.get());
  for (std::size_t i = 0; i < fewer.size(); ++i)
    Check(i < cells.size() && (fewer[i] == cells[i] || cells[i].column == 2),
          "a cut file gives the cells of the whole one");
}

}  // namespace nvimport
