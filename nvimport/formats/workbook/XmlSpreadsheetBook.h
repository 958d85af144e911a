#pragma once

#include <memory>

#include "nvimport/formats/workbook/SheetBook.h"

namespace nvimport {

// The worksheets of an XML spreadsheet of 2003. Null when `outcome` is not kGood.
std::unique_ptr<SheetBook> OpenXmlSpreadsheet(const char* path, SheetBook::Outcome& outcome);

}  // namespace nvimport
