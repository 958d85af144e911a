#pragma once

#include <string>
#include <vector>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What most likely delimits the first lines of a text file: the candidate whose number of fields
// varies least from line to line. TAB where there is nothing to go by.
NVIMPORT_API TextImportChoice GuessDelimiter(const std::vector<std::string>& lines);

// The same for the file of a question, by its preview.
NVIMPORT_API TextImportChoice GuessDelimiter(const TextImportQuestion& question);

}  // namespace nvimport
