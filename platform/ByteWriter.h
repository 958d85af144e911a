#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Puts values behind one another, integers little-endian: the counterpart of ByteReader, for open
// options.
class ByteWriter {
 public:
  // A 32-bit length, then the bytes.
  void WriteBinaryString(std::string_view text) {
    const auto length = static_cast<std::uint32_t>(text.size());
    for (unsigned shift = 0; shift < 32; shift += 8) bytes_ += static_cast<char>(length >> shift);
    bytes_ += text;
  }

  void WriteByte(unsigned char byte) { bytes_ += static_cast<char>(byte); }

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};
