#include "nvimport/platform/StreamReader.h"

#include <cstdint>
#include <istream>

#include "nvimport/platform/Exception.h"

namespace nvimport {

bool StreamReader::ReadBool() {
  unsigned char byte = 0;
  ReadUInt8Vector(&byte, 1);
  if (byte > 1) throw Exception("The stored data are damaged.");
  return byte == 1;
}

int StreamReader::ReadInt32() {
  unsigned char bytes[4] = {};
  ReadUInt8Vector(bytes, 4);
  std::uint32_t bits = 0;
  for (int i = 3; i >= 0; --i) bits = bits << 8 | bytes[i];
  return static_cast<int>(bits);
}

void StreamReader::ReadUInt8Vector(unsigned char* bytes, int count) {
  if (count <= 0) return;
  if (!stream_.read(reinterpret_cast<char*>(bytes), count))
    throw Exception("The stored data end too early.");
}

}  // namespace nvimport
