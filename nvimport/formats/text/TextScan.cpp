#include "nvimport/formats/text/TextScan.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace nvimport {

namespace {

// 64 bytes. Of those that are a character, or one of two, byte i sets bit i.
struct PlainBlock {
  const char* text;

  std::uint64_t Find(char sought) const { return Find(sought, sought); }
  std::uint64_t Find(char sought, char other) const {
    std::uint64_t found = 0;
    for (unsigned i = 0; i < 64; ++i)
      found |= std::uint64_t{text[i] == sought || text[i] == other} << i;
    return found;
  }
};

// A CR before a line feed ends nothing: the line feed does. `after` is the byte behind the block.
std::uint64_t LineEnds(std::uint64_t line_feeds, std::uint64_t crs, char after) {
  const std::uint64_t followed = line_feeds >> 1 | std::uint64_t{after == '\n'} << 63;
  return line_feeds | (crs & ~followed);
}

}  // namespace

void FindBytesPlain(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const PlainBlock block{text};
    const std::uint64_t end = block.Find('\n', '\0');
    masks[b] = {block.Find(delimiter) & ~end, end};
  }
}

void FindCsvBytesPlain(const char* text, std::size_t blocks, char delimiter, char quote,
                       CsvMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const PlainBlock block{text};
    const std::uint64_t end = LineEnds(block.Find('\n'), block.Find('\r'), text[64]);
    masks[b] = {block.Find(delimiter), block.Find(quote) & ~end, end};
  }
}

#if defined(__x86_64__)

namespace {

struct Sse2Block {
  __m128i parts[4];

  explicit Sse2Block(const char* text) {
    for (unsigned i = 0; i < 4; ++i)
      parts[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + std::size_t{16} * i));
  }

  std::uint64_t Find(char sought) const { return Find(sought, sought); }
  std::uint64_t Find(char sought, char other) const {
    const __m128i wanted = _mm_set1_epi8(sought);
    const __m128i too = _mm_set1_epi8(other);
    std::uint64_t found = 0;
    for (unsigned i = 0; i < 4; ++i) {
      const int bits = _mm_movemask_epi8(
          _mm_or_si128(_mm_cmpeq_epi8(parts[i], wanted), _mm_cmpeq_epi8(parts[i], too)));
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
    return Find(sought, sought);
  }
  __attribute__((target("avx2"))) std::uint64_t Find(char sought, char other) const {
    const __m256i wanted = _mm256_set1_epi8(sought);
    const __m256i too = _mm256_set1_epi8(other);
    const int first = _mm256_movemask_epi8(
        _mm256_or_si256(_mm256_cmpeq_epi8(low, wanted), _mm256_cmpeq_epi8(low, too)));
    const int second = _mm256_movemask_epi8(
        _mm256_or_si256(_mm256_cmpeq_epi8(high, wanted), _mm256_cmpeq_epi8(high, too)));
    return static_cast<std::uint32_t>(first) | std::uint64_t{static_cast<std::uint32_t>(second)}
                                                   << 32;
  }
};

}  // namespace

void FindBytesSse2(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const Sse2Block block(text);
    const std::uint64_t end = block.Find('\n', '\0');
    masks[b] = {block.Find(delimiter) & ~end, end};
  }
}

__attribute__((target("avx2"))) void FindBytesAvx2(const char* text, std::size_t blocks,
                                                   char delimiter, ByteMasks* masks) {
  for (std::size_t b = 0; b < blocks; ++b, text += 64) {
    const Avx2Block block(text);
    const std::uint64_t end = block.Find('\n', '\0');
    masks[b] = {block.Find(delimiter) & ~end, end};
  }
}

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
