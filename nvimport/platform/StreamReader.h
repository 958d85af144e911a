#pragma once

#include <iosfwd>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Reads what StreamWriter stored. Throws an Exception where the stream ends early or a byte can't
// be what was stored.
class NVIMPORT_API StreamReader {
 public:
  // Reads from the stream, which must outlive this.
  explicit StreamReader(std::istream& stream) : stream_(stream) {}

  // A byte, 0 or 1; 32 bits, little-endian; `count` bytes.
  bool ReadBool();
  int ReadInt32();
  void ReadUInt8Vector(unsigned char* bytes, int count);

 private:
  std::istream& stream_;
};

}  // namespace nvimport
