#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace nvimport {

// Bytes that can be read at any place: those of a file, or what stands for them.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  virtual std::uint64_t size() const = 0;
  // Fills `into` from `position` on, less only where the bytes end. Returns the number of bytes, or
  // -1 when that failed or the user cancelled.
  virtual std::ptrdiff_t ReadAt(std::uint64_t position, std::span<char> into) = 0;
};

}  // namespace nvimport
