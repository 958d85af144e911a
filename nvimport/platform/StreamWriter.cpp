#include "nvimport/platform/StreamWriter.h"

#include <cstdint>
#include <ostream>

namespace nvimport {

void StreamWriter::WriteBool(bool value) { stream_.put(value ? '\1' : '\0'); }

void StreamWriter::WriteInt32(int value) {
  const auto bits = static_cast<std::uint32_t>(value);
  for (unsigned shift = 0; shift < 32; shift += 8) stream_.put(static_cast<char>(bits >> shift));
}

void StreamWriter::WriteUInt8Vector(const unsigned char* bytes, int count) {
  if (count > 0) stream_.write(reinterpret_cast<const char*>(bytes), count);
}

}  // namespace nvimport
