#include "nvimport/formats/text/TextScan.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace nvimport {

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

namespace {

// A CR before a line feed ends nothing: the line feed does. `after` is the byte behind the block.
std::uint64_t LineEnds(std::uint64_t line_feeds, std::uint64_t crs, char after) {
  const std::uint64_t followed = line_feeds >> 1 | std::uint64_t{after == '\n'} << 63;
  return line_feeds | (crs & ~followed);
}

}  // namespace

void FindCsvBytesPlain(const char* text, std::size_t blocks, char delimiter, char quote,
                       CsvMasks* masks) {
  const auto find = [&](char sought) {
    std::uint64_t found = 0;
    for (unsigned i = 0; i < 64; ++i) found |= std::uint64_t{text[i] == sought} << i;
    return found;
  };
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const std::uint64_t end = LineEnds(find('\n'), find('\r'), text[64]);
    masks[b] = {find(delimiter), find(quote) & ~end, end};
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

namespace {

// 64 bytes in registers.
struct Sse2Block {
  __m128i parts[4];

  explicit Sse2Block(const char* text) {
    for (unsigned i = 0; i < 4; ++i)
      parts[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + std::size_t{16} * i));
  }

  std::uint64_t Find(char sought) const {
    const __m128i wanted = _mm_set1_epi8(sought);
    std::uint64_t found = 0;
    for (unsigned i = 0; i < 4; ++i) {
      const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(parts[i], wanted));
      found |= std::uint64_t{static_cast<std::uint32_t>(bits)} << 16 * i;
    }
    return found;
  }
};

struct Avx2Block {
  __m256i low;
  __m256i high;

  __attribute__((target("avx2"))) explicit Avx2Block(const char* text)
      : low(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text))),
        high(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + 32))) {}

  __attribute__((target("avx2"))) std::uint64_t Find(char sought) const {
    const __m256i wanted = _mm256_set1_epi8(sought);
    const int first = _mm256_movemask_epi8(_mm256_cmpeq_epi8(low, wanted));
    const int second = _mm256_movemask_epi8(_mm256_cmpeq_epi8(high, wanted));
    return static_cast<std::uint32_t>(first) | std::uint64_t{static_cast<std::uint32_t>(second)}
                                                   << 32;
  }
};

}  // namespace

void FindCsvBytesSse2(const char* text, std::size_t blocks, char delimiter, char quote,
                      CsvMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const Sse2Block block(text);
    const std::uint64_t end = LineEnds(block.Find('\n'), block.Find('\r'), text[64]);
    masks[b] = {block.Find(delimiter), block.Find(quote) & ~end, end};
  }
}

__attribute__((target("avx2"))) void FindCsvBytesAvx2(const char* text, std::size_t blocks,
                                                      char delimiter, char quote, CsvMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const Avx2Block block(text);
    const std::uint64_t end = LineEnds(block.Find('\n'), block.Find('\r'), text[64]);
    masks[b] = {block.Find(delimiter), block.Find(quote) & ~end, end};
  }
}

bool HasAvx2() { return __builtin_cpu_supports("avx2") != 0; }

FindBytes BestFindBytes() { return HasAvx2() ? FindBytesAvx2 : FindBytesSse2; }

FindCsvBytes BestFindCsvBytes() { return HasAvx2() ? FindCsvBytesAvx2 : FindCsvBytesSse2; }

#else

FindBytes BestFindBytes() { return FindBytesPlain; }

FindCsvBytes BestFindCsvBytes() { return FindCsvBytesPlain; }

#endif

}  // namespace nvimport
