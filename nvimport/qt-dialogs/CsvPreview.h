#pragma once

#include <string>

#include "nvimport/qt-dialogs/Questions.h"
#include "nvimport/qt-dialogs/TextReading.h"

namespace nvimport {

// The first cells of a text as CSV File reads it, missing ones as empty texts; none where it can't.
PreviewRows PreviewCsv(const std::string& path, const TextReading& reading, int rows, int columns);

}  // namespace nvimport
