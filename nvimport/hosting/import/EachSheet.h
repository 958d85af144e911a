#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/hosting/import/Import.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Files of several sheets, each of which is read by itself.

// One of them.
struct SheetOfFile {
  std::string name;      // of the worksheet, block or variable, empty where the file has but one
  ImportRequest import;  // reads it alone
};

struct SheetsOfFile {
  ImportResult import;  // as far as it took to find them, with the questions that were asked
  std::vector<SheetOfFile> sheets;
};

enum class SheetsWanted : std::uint8_t {
  kChosenWorksheets,  // that the request's answers or its dialogs choose, else the usual ones
  kEach               // worksheets, data blocks and variables, all that the answers don't leave out
};

NVIMPORT_API SheetsOfFile FindSheets(const ImportRequest& request, SheetsWanted wanted);

// The names of the worksheets, data blocks or variables that an import took of a file with several.
NVIMPORT_API std::vector<std::string> SheetsTaken(const ImportResult& result, SheetsWanted wanted);

}  // namespace nvimport
