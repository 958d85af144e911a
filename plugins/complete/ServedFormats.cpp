// NvImport Complete as a library of its own: its formats are what it serves.

#include "nvimport/framework/ServedFormats.h"

#include "plugins/complete/CompleteFormats.h"

namespace nvimport {

FormatRegistry& ServedFormats() { return CompleteFormats(); }

}  // namespace nvimport
