#pragma once

#include <memory>

#include "nvimport/formats/workbook/SheetBook.h"

namespace nvimport {

// What the library cannot do without others: the workbook in a package, in XML or in binary parts.
// Null when `outcome` is not kGood. Encrypted packages are opened only if asked for.
std::unique_ptr<SheetBook> OpenExcel2007(const char* path, bool decrypts,
                                         SheetBook::Outcome& outcome);

}  // namespace nvimport
