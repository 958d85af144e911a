#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "nvimport/platform/ByteReader.h"

namespace nvimport {

// Puts the number at `to`, its low byte first.
template <typename T>
void StoreLittle(char* to, T value) {
  auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
  if (std::endian::native != std::endian::little) std::reverse(bytes.begin(), bytes.end());
  std::memcpy(to, bytes.data(), sizeof(T));
}

// A whole number with its high byte first.
template <typename Bits>
void StoreBig(char* to, Bits value) {
  StoreLittle(to, Swapped(value));
}

template <typename T>
void AppendLittle(std::string& to, T value) {
  char bytes[sizeof(T)];
  StoreLittle(bytes, value);
  to.append(bytes, sizeof(T));
}

// Puts values behind one another, integers little-endian: the counterpart of ByteReader, for open
// options.
class ByteWriter {
 public:
  // A 32-bit length, then the bytes.
  void WriteBinaryString(std::string_view text) {
    WriteFourBytes(static_cast<std::int32_t>(text.size()));
    bytes_ += text;
  }

  void WriteFourBytes(std::int32_t value) { AppendLittle(bytes_, value); }

  void WriteByte(unsigned char byte) { bytes_ += static_cast<char>(byte); }

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

}  // namespace nvimport
