#pragma once

#include <memory>

#include "nvimport/formats/workbook/SheetBook.h"

namespace nvimport {

// The sheets of an OpenDocument spreadsheet. Null when `outcome` is not kGood.
std::unique_ptr<SheetBook> OpenOpenDocument(const char* path, SheetBook::Outcome& outcome);

// Whether the file says that it is one.
bool IsOpenDocument(const char* path);

}  // namespace nvimport
