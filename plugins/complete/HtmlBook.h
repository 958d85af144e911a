#pragma once

#include <memory>

#include "nvimport/formats/workbook/SheetBook.h"

namespace nvimport {

// The tables of an HTML page. Null when `outcome` is not kGood.
std::unique_ptr<SheetBook> OpenHtml(const char* path, SheetBook::Outcome& outcome);

// Whether the file begins as a page, or a part of one with a table, does.
bool IsHtml(const char* path);

}  // namespace nvimport
