#include "nvimport/formats/workbook/OpenDocumentFile.h"

#include <memory>

#include "nvimport/formats/workbook/OpenDocumentBook.h"
#include "nvimport/formats/workbook/SheetBookFormat.h"

namespace nvimport {

namespace {

constexpr int kFirst = 3584;
// "%s" is the name of the host application.
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kFirst + kSheetBookNotOpen, "Unable to open OpenDocument spreadsheet."},
    {kFirst + kSheetBookBadWorkbook,
     "The OpenDocument spreadsheet is damaged. Its content cannot be read."},
    {kFirst + kSheetBookBadWorksheet,
     "The OpenDocument spreadsheet is damaged. Its content breaks off or is invalid."},
    {kFirst + kSheetBookOtherFormat,
     "This file does not appear to be a valid OpenDocument spreadsheet."},
    {kFirst + kSheetBookBroken,
     "The OpenDocument spreadsheet is damaged or incomplete. The directory of its parts cannot be "
     "read."},
    {kFirst + kSheetBookProtected,
     "%s cannot read OpenDocument spreadsheets that are encrypted. You will need to save it "
     "without "
     "a password to be able to read the file into %s."},
    {kFirst + kSheetBookNoSheets, "The OpenDocument spreadsheet does not contain any sheets."},
    {kFirst + kSheetBookTooLarge,
     "The OpenDocument spreadsheet states that it unpacks to far more than a file of its size can "
     "hold."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3591));

constexpr SheetBookFormat kFormat{
    "OpenDocumentFile",
    kFirst,
    kTexts,
    {"Select Sheet",
     "An OpenDocument spreadsheet consists of multiple sheets. Please select the sheet(s) you want "
     "to import.",
     "Sheet"},
    &OpenOpenDocument};

}  // namespace

OpenDocumentFile::OpenDocumentFile() : SheetBookFile(kFormat) {}

OpenDocumentFileFactory::OpenDocumentFileFactory()
    : SprFileFactory({.name = "OpenDocument Spreadsheet",
                      .read_filter = "OpenDocument Spreadsheets (*.ods; *.fods)",
                      .extensions = {".ods", ".fods", ".ots"},
                      .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                  {"merge", "side|below", true, false}}}) {}

int OpenDocumentFileFactory::IsCorrectFileType(const char* path) {
  return IsOpenDocument(path) ? kCertain : kNotThis;
}

SpreadsheetFile* OpenDocumentFileFactory::Create() {
  return std::make_unique<OpenDocumentFile>().release();
}

}  // namespace nvimport
