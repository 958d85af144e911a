#include "nvimport/formats/workbook/XmlSpreadsheetFile.h"

#include <array>
#include <memory>

#include "nvimport/formats/workbook/SheetBookFormat.h"
#include "nvimport/formats/workbook/XmlSpreadsheetBook.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

namespace {

constexpr int kFirst = 3840;
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kFirst + kSheetBookNotOpen, "Unable to open XML spreadsheet."},
    {kFirst + kSheetBookBadWorkbook, "The XML spreadsheet is damaged. It cannot be read."},
    {kFirst + kSheetBookBadWorksheet,
     "The XML spreadsheet is damaged. It breaks off or is invalid."},
    {kFirst + kSheetBookOtherFormat,
     "This file does not appear to be a valid XML spreadsheet of 2003."},
    {kFirst + kSheetBookNoSheets, "The XML spreadsheet does not contain any worksheets."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3847));

constexpr SheetBookFormat kFormat{
    "XmlSpreadsheetFile",
    kFirst,
    kTexts,
    {"Select Worksheet",
     "An XML spreadsheet consists of multiple worksheets. Please select the worksheet(s) you want "
     "to import.",
     "Worksheet"},
    &OpenXmlSpreadsheet};

}  // namespace

XmlSpreadsheetFile::XmlSpreadsheetFile() : SheetBookFile(kFormat) {}

XmlSpreadsheetFileFactory::XmlSpreadsheetFileFactory()
    : SprFileFactory({.name = "XML Spreadsheet 2003",
                      .read_filter = "XML Spreadsheets 2003 (*.xml)",
                      .extensions = {".xml"},
                      .options = {{"sheets", "SHEETS", /*is_asked=*/true, /*is_pair=*/false},
                                  {"merge", "side|below", true, false}}}) {}

// Its namespace stands in its first tag, behind comments at most.
int XmlSpreadsheetFileFactory::IsCorrectFileType(const char* path) {
  std::array<char, 16384> bytes;
  InputFile file(path);
  const std::ptrdiff_t got = file.is_open() ? file.Read(bytes) : 0;
  std::string head;  // as 8-bit characters, whatever it is in
  for (std::ptrdiff_t i = 0; i < got; ++i)
    if (bytes[static_cast<std::size_t>(i)] != '\0') head += bytes[static_cast<std::size_t>(i)];
  const bool is_one =
      head.find('<') < 8 && head.find("Workbook") != std::string::npos &&
      head.find("urn:schemas-microsoft-com:office:spreadsheet") != std::string::npos;
  return is_one ? kCertain : kNotThis;
}

SpreadsheetFile* XmlSpreadsheetFileFactory::Create() {
  return std::make_unique<XmlSpreadsheetFile>().release();
}

}  // namespace nvimport
