// In place of the readers of packages where their libraries are missing.

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/OpenDocumentBook.h"
#include "nvimport/formats/workbook/XmlSpreadsheetBook.h"

namespace nvimport {

std::unique_ptr<SheetBook> OpenExcel2007(const char*, bool, SheetBook::Outcome& outcome) {
  outcome = SheetBook::Outcome::kNotBuilt;
  return nullptr;
}

std::unique_ptr<SheetBook> OpenOpenDocument(const char*, SheetBook::Outcome& outcome) {
  outcome = SheetBook::Outcome::kNotBuilt;
  return nullptr;
}
std::unique_ptr<SheetBook> OpenXmlSpreadsheet(const char*, SheetBook::Outcome& outcome) {
  outcome = SheetBook::Outcome::kNotBuilt;
  return nullptr;
}
bool IsOpenDocument(const char*) { return false; }

}  // namespace nvimport
