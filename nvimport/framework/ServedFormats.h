#pragma once

#include "nvimport/framework/FormatRegistry.h"

namespace nvimport {

// Defined beside the factory objects. Who asks for the library's own formats names it, else a
// linker would leave those objects of a static library out.
void KeepFactories();

// The formats that a library serves by its twelve functions.
FormatRegistry& ServedFormats();

}  // namespace nvimport
