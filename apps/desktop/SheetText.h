#pragma once

#include <QString>
#include <string_view>

namespace nvimport {

struct MemoryCell;

// The library's bytes as the window shows them: UTF-8 where they are, else Windows-1252.
QString FromBytes(std::string_view bytes);

// What a cell shows: its text, its number's shortest text, nothing when it is missing.
QString Shown(const MemoryCell& cell);

}  // namespace nvimport
