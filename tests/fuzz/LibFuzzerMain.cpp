#include <cstdint>

#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nvimport::FuzzWithinBounds({reinterpret_cast<const char*>(data), size});
  return 0;
}
