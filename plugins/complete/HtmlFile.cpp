#include "plugins/complete/HtmlFile.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <string>

#include "nvimport/formats/workbook/SheetBookFormat.h"
#include "nvimport/platform/InputFile.h"
#include "plugins/complete/HtmlBook.h"

namespace nvimport {

namespace {

constexpr int kFirst = 4096;
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kFirst + kSheetBookNotOpen, "Unable to open HTML page."},
    {kFirst + kSheetBookBadWorkbook, "The HTML page cannot be read."},
    {kFirst + kSheetBookBadWorksheet, "The HTML page cannot be read to its end."},
    {kFirst + kSheetBookOtherFormat, "This file does not appear to be an HTML page."},
    {kFirst + kSheetBookNoSheets, "The HTML page does not contain any table with cells."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 4103));

constexpr SheetBookFormat kFormat{
    "HtmlFile",
    kFirst,
    kTexts,
    {"Select Table",
     "An HTML page consists of multiple tables. Please select the table(s) you want to import.",
     "Table"},
    &OpenHtml};

}  // namespace

HtmlFile::HtmlFile() : SheetBookFile(kFormat) {}

HtmlFileFactory::HtmlFileFactory()
    : SprFileFactory({.name = "HTML Tables",
                      .read_filter = "HTML Tables (*.html; *.htm)",
                      .extensions = {".html", ".htm"},
                      .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                  {"merge", "side|below", true, false}}}) {}

int HtmlFileFactory::IsCorrectFileType(const char* path) {
  return IsHtml(path) ? kCertain : kNotThis;
}

SpreadsheetFile* HtmlFileFactory::Create() { return std::make_unique<HtmlFile>().release(); }

}  // namespace nvimport
