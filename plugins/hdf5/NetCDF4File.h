#pragma once

#include "nvimport/formats/matrix/NetCDFFile.h"

namespace nvimport {

// netCDF-4 files, and any others of HDF5 but those of MATLAB: what the classic formats give, and
// the variables of groups, texts and members of records as variables of their own.
class NetCDF4File final : public NetCDFFile {
 public:
  NetCDF4File() : NetCDFFile("NetCDF4File") {}
  void GetErrorMessage(char* buffer, unsigned int size) override;

 private:
  std::unique_ptr<NetcdfSource> OpenSource(const char* path, int& status) const override;
};

class NetCDF4FileFactory final : public SprFileFactory {
 public:
  NetCDF4FileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
