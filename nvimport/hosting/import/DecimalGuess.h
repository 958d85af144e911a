#pragma once

#include <string_view>

#include "nvimport/platform/Export.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

class MemorySheet;

// Which decimal mark the texts of a sheet have: what makes numbers of more of them.
class DecimalGuess {
 public:
  void Take(std::string_view text) {
    const bool by_point = ParseNumber(text, '.').has_value();
    const bool by_comma = ParseNumber(text, ',').has_value();
    if (by_point && !by_comma) ++points_;
    if (by_comma && !by_point) ++commas_;
  }
  char mark() const { return commas_ > points_ ? ',' : '.'; }

 private:
  int points_ = 0;
  int commas_ = 0;
};

// The mark that the first texts of a sheet have.
NVIMPORT_API char GuessDecimalMark(MemorySheet& sheet);

}  // namespace nvimport
