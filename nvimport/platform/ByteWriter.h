#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace nvimport {

// Puts values behind one another, integers little-endian: the counterpart of ByteReader, for open
// options.
class ByteWriter {
 public:
  // A 32-bit length, then the bytes.
  void WriteBinaryString(std::string_view text) {
    WriteFourBytes(static_cast<std::int32_t>(text.size()));
    bytes_ += text;
  }

  void WriteFourBytes(std::int32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) bytes_ += static_cast<char>(value >> shift);
  }

  void WriteByte(unsigned char byte) { bytes_ += static_cast<char>(byte); }

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

}  // namespace nvimport
