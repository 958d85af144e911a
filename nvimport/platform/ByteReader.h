#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace nvimport {

// The bytes of a number the other way round.
template <typename Bits>
constexpr Bits Swapped(Bits bits) {
  if constexpr (sizeof(Bits) == 8)
    return __builtin_bswap64(bits);
  else if constexpr (sizeof(Bits) == 4)
    return __builtin_bswap32(bits);
  else if constexpr (sizeof(Bits) == 2)
    return __builtin_bswap16(bits);
  else
    return bits;
}

// The number at `bytes`, whose bytes have that order.
template <typename T>
T Load(const void* bytes, std::endian order) {
  using Bits = std::conditional_t<
      sizeof(T) == 8, std::uint64_t,
      std::conditional_t<sizeof(T) == 4, std::uint32_t,
                         std::conditional_t<sizeof(T) == 2, std::uint16_t, std::uint8_t>>>;
  static_assert(sizeof(T) == sizeof(Bits));
  Bits bits;
  std::memcpy(&bits, bytes, sizeof bits);
  return std::bit_cast<T>(order == std::endian::native ? bits : Swapped(bits));
}

template <typename T>
T LoadLittle(const void* bytes) {
  return Load<T>(bytes, std::endian::little);
}

// A cursor over bytes that somebody else owns, little-endian unless told otherwise. It never reads
// outside them: a read that does not fit yields zero and fails the cursor for good, so a run of
// fields is read plainly and checked once with ok(). position() then still names the field that did
// not fit.
class ByteReader {
 public:
  explicit ByteReader(std::span<const char> bytes, std::endian order = std::endian::little)
      : bytes_(bytes), order_(order) {}

  // Bytes as records of the C interface have them.
  explicit ByteReader(std::span<const unsigned char> bytes)
      : ByteReader({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                   std::endian::little) {}

  bool ok() const { return ok_; }
  std::size_t position() const { return position_; }
  std::size_t remaining() const { return bytes_.size() - position_; }

  // Goes to `position`, counted from the first byte.
  ByteReader& Seek(std::size_t position) {
    ok_ = ok_ && position <= bytes_.size();
    if (ok_) position_ = position;
    return *this;
  }

  std::span<const char> Bytes(std::size_t count) {
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
    return {taken.data(), taken.size()};
  }

  void Skip(std::size_t count) { Bytes(count); }

  std::uint8_t U8() { return Number<std::uint8_t>(); }
  std::uint16_t U16() { return Number<std::uint16_t>(); }
  std::uint32_t U32() { return Number<std::uint32_t>(); }
  int I8() { return static_cast<int>(U8() ^ 0x80U) - 0x80; }
  std::int16_t I16() { return Number<std::int16_t>(); }
  std::int32_t I32() { return Number<std::int32_t>(); }
  std::uint64_t U64() { return Number<std::uint64_t>(); }
  float F32() { return Number<float>(); }
  double F64() { return Number<double>(); }

 private:
  template <typename T>
  T Number() {
    const auto taken = Bytes(sizeof(T));
    return taken.empty() ? T{} : Load<T>(taken.data(), order_);
  }

  std::span<const char> bytes_;
  std::size_t position_ = 0;
  std::endian order_;
  bool ok_ = true;
};

}  // namespace nvimport
