#pragma once

#include <cstddef>
#include <cstdint>

namespace nvimport {

// A longer field is refused: more than a block of the text and a field is never held.
inline constexpr std::size_t kLongestField = std::size_t{64} << 20;

// Finds the bytes that matter to a splitter, 64 at a time.

// Bit i stands for byte i of a block of 64.
struct ByteMasks {
  std::uint64_t delimiter;  // the byte asked for, line feed and NUL excepted
  std::uint64_t end;        // line feed and NUL
};

// Fills masks[0..blocks) from the 64 * blocks bytes at `text`.
using FindBytes = void (*)(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks);

void FindBytesPlain(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks);
#if defined(__x86_64__)
void FindBytesSse2(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks);
void FindBytesAvx2(const char* text, std::size_t blocks, char delimiter, ByteMasks* masks);
bool HasAvx2();
#endif

// The fastest of these that this processor runs.
FindBytes BestFindBytes();

// What separates and quotes in 64 bytes of a CSV file.
struct CsvMasks {
  std::uint64_t delimiter;
  std::uint64_t quote;
  std::uint64_t end;  // line feed, and a CR that no line feed follows

  bool operator==(const CsvMasks&) const = default;
};

// The quote of a file that has none: a line feed, which is an end and no quote.
inline constexpr char kNoQuote = '\n';

// Fills masks[0..blocks) from the 64 * blocks bytes at `text`; also the byte behind them is looked
// at.
using FindCsvBytes = void (*)(const char* text, std::size_t blocks, char delimiter, char quote,
                              CsvMasks* masks);

void FindCsvBytesPlain(const char* text, std::size_t blocks, char delimiter, char quote,
                       CsvMasks* masks);
#if defined(__x86_64__)
void FindCsvBytesSse2(const char* text, std::size_t blocks, char delimiter, char quote,
                      CsvMasks* masks);
void FindCsvBytesAvx2(const char* text, std::size_t blocks, char delimiter, char quote,
                      CsvMasks* masks);
#endif

FindCsvBytes BestFindCsvBytes();

}  // namespace nvimport
