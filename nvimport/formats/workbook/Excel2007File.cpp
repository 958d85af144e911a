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
    {kFirst + kSheetBookNoPassword,
     "The workbook is encrypted with a password, which was not given."},
    {kFirst + kSheetBookWrongPassword, "The password does not open the workbook."},
    {kFirst + kSheetBookNoCrypto,
     "The workbook is encrypted, and this library was built without nettle, which decrypts it."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3338));

constexpr SheetBookFormat kKept{"Excel2007File", kFirst, kTexts, kExcelWords,
                                [](const char* path, SheetBook::Outcome& outcome) {
                                  return OpenExcel2007(path, /*decrypts=*/false, outcome);
                                }};
constexpr SheetBookFormat kComplete{"Excel2007File", kFirst, kTexts, kExcelWords,
                                    [](const char* path, SheetBook::Outcome& outcome) {
                                      return OpenExcel2007(path, /*decrypts=*/true, outcome);
                                    }};

}  // namespace

Excel2007File::Excel2007File(const Excel2007Rules& rules)
    : SheetBookFile(rules.passwords_refused ? kKept : kComplete) {}

Excel2007FileFactory::Excel2007FileFactory(const Excel2007Rules& rules)
    : RuledFactory({.name = "Excel2007 File",
                    .read_filter = "Excel 2007 Files (*.xlsx; *.xlsb)",
                    .write_filter = "Excel 2007 Files (*.xlsx)",
                    .extensions = {".xlsx", ".xlsb"},
                    .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                {"merge", "side|below", true, false}}},
                   rules) {}

}  // namespace nvimport
