#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace nvimport {

// Bit i is set where text[i] is `sought`, for the 32 bytes at `text`.
inline std::uint32_t FindIn32(const char* text, char sought) {
  std::uint32_t found = 0;
#if defined(__SSE2__)
  const __m128i wanted = _mm_set1_epi8(sought);
  for (const unsigned half : {0U, 16U}) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + half));
    found |= static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, wanted))) << half;
  }
#else
  for (unsigned i = 0; i < 32; ++i) found |= std::uint32_t{text[i] == sought} << i;
#endif
  return found;
}

// Copies a text of `size` bytes, at least one. Whether it has one of the four characters, a NUL, or
// any beyond ASCII.
inline bool CopyAndFind(char* to, const char* text, std::size_t size, const char (&sought)[4]) {
#if defined(__SSE2__)
  const auto has = [&](__m128i bytes) {
    // What is no ASCII has the upper bit set, as what is equal gets.
    __m128i all = _mm_or_si128(bytes, _mm_cmpeq_epi8(bytes, _mm_setzero_si128()));
    for (const char c : sought) all = _mm_or_si128(all, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)));
    return _mm_movemask_epi8(all) != 0;
  };
  // The last bytes overlap those before. None goes through memory between the two, which is slow.
  if (size >= 16) {
    bool found = false;
    for (std::size_t at = 0; at < size; at += 16) {
      const std::size_t begin = at + 16 <= size ? at : size - 16;
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + begin));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to + begin), bytes);
      found |= has(bytes);
    }
    return found;
  }
  const auto copy = [&](auto first) {
    auto last = first;
    std::memcpy(&first, text, sizeof first);
    std::memcpy(&last, text + size - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + size - sizeof last, &last, sizeof last);
    const auto low = static_cast<std::int64_t>(first);
    const auto high = static_cast<std::int64_t>(last);
    if constexpr (sizeof first == sizeof low) return has(_mm_set_epi64x(high, low));
    return has(_mm_set1_epi64x(high << 32 | low));
  };
  if (size >= 8) return copy(std::uint64_t{});
  if (size >= 4) return copy(std::uint32_t{});
#endif
  bool found = false;
  for (std::size_t i = 0; i < size; ++i) {
    const char c = to[i] = text[i];
    found |= static_cast<signed char>(c) <= 0;
    for (const char one : sought) found |= c == one;
  }
  return found;
}

}  // namespace nvimport
