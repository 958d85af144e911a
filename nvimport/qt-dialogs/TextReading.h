#pragma once

#include <optional>
#include <string>

#include "nvimport/hosting/import/Delimiters.h"
#include "nvimport/hosting/import/NumberMarks.h"
#include "nvimport/platform/Dialogs.h"

namespace nvimport {

// How a delimited text is read, and how its numbers are written.
struct TextReading {
  TextImportChoice split{};      // what stands between fields
  char quote = '\0';             // '"' or '\'' around fields, as CSV File has them; NUL for none
  std::string encoding{};        // of the texts; empty: UTF-8 where valid, Windows-1252 where not
  int skipped_rows = 0;          // first ones
  std::optional<bool> header{};  // whether the first row names the columns; none: by what it holds
  NumberMarks marks{};           // of its numbers

  // What CSV File takes of it, as pairs for ImportRequest.
  std::string CsvPairs() const {
    const char* const name = quote == '\0' ? "none" : quote == '"' ? "double" : "single";
    return "delimiter=" + DelimiterValue(split.delimiter) + ";quote=" + name;
  }
};

}  // namespace nvimport
