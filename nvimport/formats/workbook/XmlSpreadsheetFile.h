#pragma once

#include "nvimport/formats/workbook/SheetBookFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Reads the XML documents that spreadsheet programs of 2002 and later save as "XML Spreadsheet
// 2003" (.xml), and other programs as .xls. Several worksheets become one sheet, as with ExcelFile;
// cells come as those of Excel2007File.
class NVIMPORT_API XmlSpreadsheetFile : public SheetBookFile {
 public:
  XmlSpreadsheetFile();
};

// Registers the format.
class NVIMPORT_API XmlSpreadsheetFileFactory final : public SprFileFactory {
 public:
  XmlSpreadsheetFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
