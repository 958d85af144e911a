#include "plugins/hdf5/Hdf5Formats.h"

#include <optional>

#include "plugins/hdf5/Mat73File.h"
#include "plugins/hdf5/NetCDF4File.h"

namespace nvimport {

namespace {

struct OfHdf5 {
  // Apart from the formats of the library.
  OfHdf5() {
    const FormatRegistry::Instead apart(formats);
    netcdf.emplace();
    mat.emplace();
  }

  FormatRegistry formats;
  std::optional<NetCDF4FileFactory> netcdf;
  std::optional<Mat73FileFactory> mat;
};

}  // namespace

FormatRegistry& Hdf5Formats() {
  static OfHdf5 of_hdf5;
  return of_hdf5.formats;
}

}  // namespace nvimport
