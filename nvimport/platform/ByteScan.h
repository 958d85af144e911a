#pragma once

#include <cstdint>

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

}  // namespace nvimport
