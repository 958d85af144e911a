#pragma once

#include "nvimport/framework/FormatRegistry.h"

namespace nvimport {

// The formats of NvImport Complete: readers of the library itself, of those that have habits which
// cost cells, without them. Each takes the place of the built-in format of its name.
FormatRegistry& CompleteFormats();

}  // namespace nvimport
