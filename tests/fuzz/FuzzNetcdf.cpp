// netCDF. The last bytes of the input, which are values if anything, say how the file is read:
//   -1  bit 0 the other view of chromatograms or mass spectra, bit 1 all variables, else the usual
//       ones, bit 2 without names, bit 3 the file twice   -2 first point   -3 the first page of
//       which dimension

#include "nvimport/formats/matrix/NetCDFFile.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz(std::string_view input) {
  const auto setting = [&](std::size_t from_end) {
    return input.size() < from_end ? 0 : Setting(input, input.size() - from_end);
  };
  const int settings = setting(1);
  const Taking dialogs((settings & 2) != 0);
  const MemoryFile content(input);
  std::string pairs = (settings & 4) != 0 ? "names=0" : "names=1";
  if ((settings & 1) != 0)
    pairs += input.find("ms_template") != std::string_view::npos ? ";view=total" : ";view=peaks";
  if (setting(2) > 0) pairs += ";range=" + std::to_string(setting(2)) + ",0";
  if (setting(3) > 0) pairs += ";page=" + std::string(1, static_cast<char>(setting(3))) + ":1";
  OpenOptions options = OpenOptions::Pairs(pairs);
  std::vector<std::string> files(1, content.path());
  // Its beginning may have other times.
  const MemoryFile part(input.substr(0, input.size() / 8 * 7));
  if ((settings & 8) != 0) files.emplace_back(part.path());
  NetCDFFile file;
  OpenAndRead(file, FileSelection::Join(files), options.get());
}

}  // namespace nvimport
