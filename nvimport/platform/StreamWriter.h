#pragma once

#include <iosfwd>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Stores values in a binary stream: a bool as one byte 0 or 1, integers as 32 bits little-endian.
// Failures stay in the stream's own state.
class NVIMPORT_API StreamWriter {
 public:
  // Writes to the stream, which must outlive this.
  explicit StreamWriter(std::ostream& stream) : stream_(stream) {}

  // A byte, 0 or 1; 32 bits, little-endian; `count` bytes.
  void WriteBool(bool value);
  void WriteInt32(int value);
  void WriteUInt8Vector(const unsigned char* bytes, int count);

 private:
  std::ostream& stream_;
};

}  // namespace nvimport
