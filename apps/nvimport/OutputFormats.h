#pragma once

#include <functional>
#include <optional>
#include <string>

#include "apps/nvimport/OutputTarget.h"
#include "apps/nvimport/SheetWriters.h"

namespace nvimport {

// What a sheet is written as: a format of the command's own or a registered one.
struct OutputFormat {
  std::optional<SheetFormat> own;
  int registered = 0;
  std::string extension;  // with its point
};

// The format that `name` (or an extension without its point) names, if it can be written.
std::optional<OutputFormat> FindOutputFormat(const std::string& name);

// Writes a sheet to a path in a registered format.
using RegisteredWriter =
    std::function<std::optional<Failure>(const std::string& path, SpreadsheetData& sheet)>;

// Writes the whole sheet to `target`, called `shown` in messages; nothing stays there if that fails
// or is cancelled.
std::optional<Failure> WriteWhole(const OutputFormat& format, const std::string& shown,
                                  MemorySheet& sheet, const TextConversion& conversion,
                                  OutputTarget& target, Progress& progress,
                                  const RegisteredWriter& write);

}  // namespace nvimport
