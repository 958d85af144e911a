#pragma once

#include <cstddef>
#include <cstdint>

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
