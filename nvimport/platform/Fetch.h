#pragma once

namespace nvimport {

// Has the processor fetch the memory at an address that will be read soon. It may be any.
inline void Fetch(const void* address) {
  __builtin_prefetch(address);
  // g++ 12 takes a function that does nothing else for one without effect and drops its calls.
  asm volatile("");
}

}  // namespace nvimport
