#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

// A little-endian cursor over bytes that somebody else owns. It never reads outside them: a read
// that does not fit yields zero and fails the cursor for good, so a run of fields is read plainly
// and checked once with ok(). position() then still names the field that did not fit.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  bool ok() const { return ok_; }
  std::size_t position() const { return position_; }
  std::size_t remaining() const { return bytes_.size() - position_; }

  std::span<const std::byte> Bytes(std::size_t count) {
    if (!ok_ || count > remaining()) {
      ok_ = false;
      return {};
    }
    const auto taken = bytes_.subspan(position_, count);
    position_ += count;
    return taken;
  }

  std::string_view Text(std::size_t count) {
    const auto taken = Bytes(count);
    return {reinterpret_cast<const char*>(taken.data()), taken.size()};
  }

  void Skip(std::size_t count) { Bytes(count); }

  std::uint8_t U8() { return Unsigned<std::uint8_t>(); }
  std::uint16_t U16() { return Unsigned<std::uint16_t>(); }
  std::uint32_t U32() { return Unsigned<std::uint32_t>(); }
  float F32() { return std::bit_cast<float>(U32()); }

 private:
  template <typename T>
  T Unsigned() {
    std::uint64_t value = 0;
    int shift = 0;
    for (const std::byte b : Bytes(sizeof(T))) {
      value |= std::to_integer<std::uint64_t>(b) << shift;
      shift += 8;
    }
    return static_cast<T>(value);
  }

  std::span<const std::byte> bytes_;
  std::size_t position_ = 0;
  bool ok_ = true;
};
