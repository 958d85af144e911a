#pragma once

#include "nvimport/formats/workbook/SheetBookFile.h"
#include "nvimport/framework/SprFileFactory.h"

namespace nvimport {

// Reads the tables of HTML pages (.html, .htm), and of those that programs save as .xls. Several
// tables become one sheet, as the worksheets of ExcelFile do; tables without a cell are none.
//
// A cell is a number if its page says so or if its text is plainly one, else a text. Its white
// space counts as blanks, its line breaks and paragraphs as line breaks. A cell that spans others
// stands in the first of them. A table in a cell is a table of its own.
class HtmlFile : public SheetBookFile {
 public:
  HtmlFile();
};

// Registers the format.
class HtmlFileFactory final : public SprFileFactory {
 public:
  HtmlFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
