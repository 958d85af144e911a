// netCDF-4 and MATLAB 7.3, each file as both. The last byte of the input says how: bit 0 all
// variables, else the usual ones, bit 1 without names.

#ifdef NVIMPORT_HAS_HDF5
#include "plugins/hdf5/Mat73File.h"
#include "plugins/hdf5/NetCDF4File.h"
#endif
#include "tests/fuzz/Fuzz.h"

namespace nvimport {

void Fuzz([[maybe_unused]] std::string_view input) {
  const int settings = input.empty() ? 0 : Setting(input, input.size() - 1);
  const Taking dialogs((settings & 1) != 0);
#ifdef NVIMPORT_HAS_HDF5
  const MemoryFile place{std::string(input)};
  for (const bool is_mat : {false, true}) {
    const std::unique_ptr<SpreadsheetFile> file =
        is_mat ? std::unique_ptr<SpreadsheetFile>(std::make_unique<Mat73File>())
               : std::make_unique<NetCDF4File>();
    OpenOptions options = OpenOptions::Pairs((settings & 2) != 0 ? "names=0" : "");
    OpenAndRead(*file, place.path(), options.get());
  }
#endif
}

}  // namespace nvimport
