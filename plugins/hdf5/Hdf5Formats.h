#pragma once

#include "nvimport/framework/FormatRegistry.h"

namespace nvimport {

// The formats that are HDF5.
FormatRegistry& Hdf5Formats();

}  // namespace nvimport
