// NvImport Complete as a part of the program: a host gets its formats once it asks for them.

#include "plugins/complete/CompleteFormats.h"

namespace nvimport {

namespace {

const bool linked = [] {
  FormatRegistry::linked_complete = &CompleteFormats();
  return true;
}();

}  // namespace

}  // namespace nvimport

// What has a linker take this file.
extern "C" const char nvimport_complete;
const char nvimport_complete = 1;
