#pragma once

#include <cstddef>
#include <memory>

namespace nvimport {

// An object that nobody destroys, since a host's own globals may use it to their very end.
template <typename T>
T& Immortal() {
  alignas(T) static std::byte place[sizeof(T)];
  static T& object = *std::construct_at(reinterpret_cast<T*>(place));
  return object;
}

}  // namespace nvimport
