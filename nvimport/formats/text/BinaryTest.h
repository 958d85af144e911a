#pragma once

#include <cstddef>
#include <string_view>

namespace nvimport {

// What tells a text from a binary file, and what the readers of texts say when they refuse one.

// The bytes from the start of a file that are looked at.
inline constexpr std::size_t kTestedHead = 0x7830;

inline bool IsBinary(std::string_view head) { return head.find('\0') != std::string_view::npos; }

inline constexpr const char* kNoStreamText = "Failed to open stream for reading.";
inline constexpr const char* kBinaryText =
    "This file appears to be a binary file and cannot be imported. Only ordinary text (ASCII) "
    "files can be imported.";

}  // namespace nvimport
