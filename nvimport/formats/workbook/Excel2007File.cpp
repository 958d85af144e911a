#include "nvimport/formats/workbook/Excel2007File.h"

#include <memory>

#include "nvimport/formats/workbook/Excel2007Book.h"
#include "nvimport/formats/workbook/SheetBookFormat.h"

namespace nvimport {

namespace {

constexpr int kFirst = 3328;
// "%s" is the name of the host application.
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kFirst + kSheetBookNotOpen, "Unable to open Excel file."},
    {kFirst + kSheetBookBadWorkbook,
     "An error occurred when reading the Workbook section in the Excel file. An invalid part was "
     "found."},
    {kFirst + kSheetBookBadWorksheet,
     "An error occurred when reading a Worksheet in the Excel file. An invalid part was found."},
    {kFirst + kSheetBookOtherFormat, "This file does not appear to be a valid Excel 2007 file."},
    {kFirst + kSheetBookBroken,
     "The Excel file is damaged or incomplete. The directory of its parts cannot be read."},
    {kFirst + kSheetBookProtected,
     "%s cannot read (password-) protected Excel workbooks. You will need to remove the password "
     "protection to be able to read the file into %s."},
    {kFirst + kSheetBookNoSheets, "The excel file does not contain any sheets."},
    {kFirst + kSheetBookTooLarge,
     "The Excel file states that it unpacks to far more than a workbook of its size can hold."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3335));

constexpr SheetBookFormat kFormat{"Excel2007File", kFirst, kTexts, kExcelWords, &OpenExcel2007};

}  // namespace

Excel2007File::Excel2007File() : SheetBookFile(kFormat) {}

Excel2007FileFactory::Excel2007FileFactory()
    : SprFileFactory({.name = "Excel2007 File",
                      .read_filter = "Excel 2007 Files (*.xlsx; *.xlsb)",
                      .write_filter = "Excel 2007 Files (*.xlsx)",
                      .extensions = {".xlsx", ".xlsb"},
                      .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                  {"merge", "side|below", true, false}}}) {}

int Excel2007FileFactory::IsCorrectFileType(const char*) { return kNoOpinion; }

SpreadsheetFile* Excel2007FileFactory::Create() {
  return std::make_unique<Excel2007File>().release();
}

}  // namespace nvimport
