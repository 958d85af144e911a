#pragma once

#include "nvimport/platform/Export.h"

namespace nvimport {

// How the characters of a text file are stored, as far as a reader of single-byte text needs it.
enum class ETextFileEncoding { kSingleByte = 0, kUtf8, kUtf16, kUtf32 };

// What can be told of a file without reading its format.
class NVIMPORT_API NvFile {
 public:
  // True when there is something at `path`, whatever it is.
  static bool Exists(const char* path);

  // Judges by the byte-order mark, and for UTF-16 without one by where the zero bytes of the first
  // 4 KiB stand. What is not recognised, a missing file included, is single-byte.
  static ETextFileEncoding GetEncoding(const char* path);
};

}  // namespace nvimport
