#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "nvimport/platform/ByteReader.h"

namespace nvimport {

// What libFuzzer, or ReplayMain, calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline ByteReader InputReader(const std::uint8_t* data, std::size_t size) {
  return ByteReader(std::span(data, size));
}

// Ends the run where something that must hold does not.
inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::abort();
}

}  // namespace nvimport
