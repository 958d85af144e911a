#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "nvimport/framework/SpreadsheetFile.h"
#include "tests/support/Support.h"

namespace nvimport {

// A file, its reader and what it says: a line a statement, "label [key] = value", with "row N "
// before one about a row, then the axes that it names.
struct Described {
  const char* format;  // of the table of keys
  const char* why;
  std::function<std::unique_ptr<SpreadsheetFile>()> reader;
  std::string bytes;
  std::string expected;
  std::string options = {};
  std::string beside = {};  // the file that NSAS has beside it
};

template <typename Reader, typename... Rules>
auto By(Rules... rules) {
  return [=] { return std::make_unique<Reader>(rules...); };
}

void AddSpectra(std::vector<Described>& all);
// Those of them that say the most for the fewest bytes.
void AddSpectraBombs(std::vector<Described>& bombs);

// What it says, as text.
std::string TextOf(SpreadsheetFile& file);

}  // namespace nvimport
