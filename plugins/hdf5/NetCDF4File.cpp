#include "plugins/hdf5/NetCDF4File.h"

#include "plugins/hdf5/Hdf5Texts.h"

namespace nvimport {

std::unique_ptr<NetcdfSource> NetCDF4File::OpenSource(const char* path, int& status) const {
  return Hdf5Process::Start(path, Hdf5Process::Shows::kNetcdf, status);
}

void NetCDF4File::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kHdf5Texts, buffer, size)) NetCDFFile::GetErrorMessage(buffer, size);
}

NetCDF4FileFactory::NetCDF4FileFactory()
    : SprFileFactory({.name = "NetCDF-4 File",
                      .read_filter = "NetCDF-4 and HDF5 Files (*.nc; *.nc4; *.cdf; *.h5; *.hdf5)",
                      .extensions = {".nc", ".nc4", ".cdf", ".h5", ".hdf5"},
                      .several_at_once = true,
                      .options = NetCDFFile::Options()}) {}

int NetCDF4FileFactory::IsCorrectFileType(const char* path) {
  return IsHdf5(path) && !IsMat73(path) ? kCertain : kNotThis;
}

SpreadsheetFile* NetCDF4FileFactory::Create() { return std::make_unique<NetCDF4File>().release(); }

}  // namespace nvimport
