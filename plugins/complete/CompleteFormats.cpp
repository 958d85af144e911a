// NvImport Complete as a library of its own: its formats are all that it has.

#include "nvimport/framework/FormatRegistry.h"
#include "plugins/complete/CompleteFactories.h"

namespace nvimport {

namespace {

const CompleteFactories factories;

}  // namespace

void KeepFactories() {}

}  // namespace nvimport
