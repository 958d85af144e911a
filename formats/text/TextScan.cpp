#include "formats/text/TextScan.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

void FindBytesPlain(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    ByteMasks found{0, 0};
    for (unsigned i = 0; i < 64; ++i) {
      if (text[i] == '\n' || text[i] == '\0')
        found.end |= std::uint64_t{1} << i;
      else if (text[i] == delimiter)
        found.delimiter |= std::uint64_t{1} << i;
    }
    masks[b] = found;
  }
}

#if defined(__x86_64__)

void FindBytesSse2(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks) {
  const __m128i delimiters = _mm_set1_epi8(delimiter);
  const __m128i line_feeds = _mm_set1_epi8('\n');
  const __m128i zeros = _mm_setzero_si128();
  for (std::size_t b = 0; b < blocks; ++b) {
    ByteMasks found{0, 0};
    for (unsigned i = 0; i < 64; i += 16, text += 16) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
      const __m128i ends =
          _mm_or_si128(_mm_cmpeq_epi8(bytes, line_feeds), _mm_cmpeq_epi8(bytes, zeros));
      const auto end = static_cast<std::uint32_t>(_mm_movemask_epi8(ends));
      const auto delimiter_bits =
          static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, delimiters)));
      found.end |= std::uint64_t{end} << i;
      found.delimiter |= std::uint64_t{delimiter_bits} << i;
    }
    masks[b] = {found.delimiter & ~found.end, found.end};
  }
}

__attribute__((target("avx2"))) void FindBytesAvx2(const char* text, std::size_t blocks,
                                                   char delimiter, ByteMasks* masks) {
  const __m256i delimiters = _mm256_set1_epi8(delimiter);
  const __m256i line_feeds = _mm256_set1_epi8('\n');
  const __m256i zeros = _mm256_setzero_si256();
  for (std::size_t b = 0; b < blocks; ++b) {
    ByteMasks found{0, 0};
    for (unsigned i = 0; i < 64; i += 32, text += 32) {
      const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
      const __m256i ends =
          _mm256_or_si256(_mm256_cmpeq_epi8(bytes, line_feeds), _mm256_cmpeq_epi8(bytes, zeros));
      const auto end = static_cast<std::uint32_t>(_mm256_movemask_epi8(ends));
      const auto delimiter_bits =
          static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, delimiters)));
      found.end |= std::uint64_t{end} << i;
      found.delimiter |= std::uint64_t{delimiter_bits} << i;
    }
    masks[b] = {found.delimiter & ~found.end, found.end};
  }
}

bool HasAvx2() { return __builtin_cpu_supports("avx2") != 0; }

FindBytes BestFindBytes() { return HasAvx2() ? FindBytesAvx2 : FindBytesSse2; }

#else

FindBytes BestFindBytes() { return FindBytesPlain; }

#endif
