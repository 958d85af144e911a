#pragma once

#include <QString>

#include "nvimport/qt-dialogs/Text.h"

namespace nvimport {

struct MemoryCell;

// What a cell shows: its text, its number's shortest text, nothing when it is missing.
QString Shown(const MemoryCell& cell);

}  // namespace nvimport
