#pragma once

#include <string>
#include <vector>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// Every value as the file has it, headers included. Apart, so that the calls stay calls.
template <typename Value>
[[gnu::noinline]] void TouchValues(const std::string& path, ReadSpreadSheetData& sink) {
  InputFile file(path.c_str());
  std::vector<char> block(256 * 1024);
  constexpr std::ptrdiff_t kSize = sizeof(Value);
  int column = 0;
  for (std::ptrdiff_t got = file.Read(block); got > 0; got = file.Read(block))
    for (std::ptrdiff_t at = 0; at + kSize <= got; at += kSize)
      sink.Set(++column, 1, static_cast<float>(LoadLittle<Value>(block.data() + at)));
}

}  // namespace nvimport
