// HPLC ChemStation. Bytes of the header that no reader looks at say how the file is read:
//   300, 301 the range   302 bit 0 the wavelength at 303 * 4, bit 1 as stored, bit 2 the file twice

#include "nvimport/formats/spectra/ChemStationFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const MemoryFile content(input);
  const int settings = Setting(input, 302);
  const RangeChoice range{Setting(input, 300) + 1, Setting(input, 301)};
  std::optional<double> wavelength;
  if ((settings & 1) != 0) wavelength = Setting(input, 303) * 4 + 1;
  OpenOptions options =
      OpenOptions::Made(ChemStationFile::GetImportOptions(range, wavelength, (settings & 2) == 0));
  std::vector<std::string> files(1, content.path());
  // Its other half has other times.
  const MemoryFile half(input.substr(0, input.size() / 4 * 3));
  if ((settings & 4) != 0) files.emplace_back(half.path());
  ChemStationFile file;
  OpenAndRead(file, FileSelection::Join(files), options.get());
}

}  // namespace nvimport
