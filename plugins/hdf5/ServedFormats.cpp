// What the plug-in serves by its functions.

#include "nvimport/framework/ServedFormats.h"

#include "plugins/hdf5/Hdf5Formats.h"

namespace nvimport {

FormatRegistry& ServedFormats() { return Hdf5Formats(); }

}  // namespace nvimport
