// NvImport Complete as a part of the program: its formats stand apart from the built-in ones until
// a host asks for them.

#include <optional>

#include "nvimport/framework/FormatRegistry.h"
#include "plugins/complete/CompleteFactories.h"

namespace nvimport {

namespace {

class Linked {
 public:
  Linked() {
    const FormatRegistry::Instead apart(formats_);
    factories_.emplace();
    FormatRegistry::linked_complete = &formats_;
  }

 private:
  FormatRegistry formats_;
  std::optional<CompleteFactories> factories_;
};

Linked linked;

}  // namespace

}  // namespace nvimport

// What has a linker take this file.
extern "C" const char nvimport_complete;
const char nvimport_complete = 1;
