#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "nvimport/platform/ByteReader.h"

// The differences that ChemStation files store in place of values.

namespace nvimport {

inline constexpr std::size_t kDeltaSize = sizeof(std::int16_t);
inline constexpr std::size_t kAbsoluteSize = kDeltaSize + sizeof(std::int32_t);
// Behind it stands a value.
inline constexpr std::int16_t kAbsolute = std::numeric_limits<std::int16_t>::min();

// Whether one of so many words is `wanted`.
template <std::endian kOrder>
bool HasWord(const char* words, std::size_t count, std::int16_t wanted) {
  const auto same = Load<std::uint16_t>(&wanted, kOrder);
  unsigned found = 0;
  for (std::size_t i = 0; i < count; ++i)
    found |= Load<std::uint16_t>(words + kDeltaSize * i, std::endian::native) == same ? 1U : 0U;
  return found != 0;
}

// Adds up so many differences, some of which may be values instead, and gives `take` each sum.
// Returns where the next ones begin; null when `end` comes before.
template <std::endian kOrder, typename Take>
const char* AddUp(const char* at, const char* end, std::int64_t& sum, std::size_t count,
                  Take take) {
  const auto room = static_cast<std::size_t>(end - at);
  if (room >= count * kDeltaSize && !HasWord<kOrder>(at, count, kAbsolute)) {
    std::int64_t plain = sum;
    for (const char* const behind = at + count * kDeltaSize; at < behind; at += kDeltaSize)
      take(plain += Load<std::int16_t>(at, kOrder));
    sum = plain;
    return at;
  }
  for (; count > 0; --count) {
    if (end - at < static_cast<std::ptrdiff_t>(kDeltaSize)) return nullptr;
    const auto delta = Load<std::int16_t>(at, kOrder);
    if (delta != kAbsolute) {
      sum += delta;
      at += kDeltaSize;
    } else {
      if (end - at < static_cast<std::ptrdiff_t>(kAbsoluteSize)) return nullptr;
      sum = Load<std::int32_t>(at + kDeltaSize, kOrder);
      at += kAbsoluteSize;
    }
    take(sum);
  }
  return at;
}

}  // namespace nvimport
