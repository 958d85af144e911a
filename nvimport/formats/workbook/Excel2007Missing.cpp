// In place of the readers of packages where their libraries are missing.

#include "nvimport/formats/workbook/Excel2007Book.h"

namespace nvimport {

std::unique_ptr<Excel2007Book> Excel2007Book::Open(const char*, bool, Outcome& outcome) {
  outcome = Outcome::kNotBuilt;
  return nullptr;
}

}  // namespace nvimport
