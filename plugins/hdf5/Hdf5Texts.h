#pragma once

#include "nvimport/framework/SpreadsheetFile.h"
#include "plugins/hdf5/Hdf5Process.h"

namespace nvimport {

inline constexpr StatusText kHdf5Texts[] = {
    {kHdf5NoFile, "Unable to open file."},
    {kHdf5NotHdf5, "This file does not seem to be a valid HDF5 file."},
    {kHdf5Damaged, "The HDF5 file is damaged, or too large for what it holds. It cannot be read."},
    {kHdf5NoProcess, "There is no room for the process that reads HDF5 files."},
    {kHdf5NotMat, "This HDF5 file was not written as a MATLAB 7.3 file."},
    {kHdf5NoProc, "HDF5 files are read only where /proc is mounted."},
};
static_assert(WellFormed(kHdf5Texts, 4432, 4447));

}  // namespace nvimport
