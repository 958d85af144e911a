#pragma once

#include "nvimport/formats/workbook/SheetBookFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Reads Excel workbooks that are packages: .xlsx and .xlsm, whose parts are XML, and .xlsb, whose
// parts are binary. Several worksheets of a workbook become one sheet, as with ExcelFile. Chart and
// dialog sheets are none.
//
// Numbers come as numbers, dates as texts in ISO form, booleans as 1 and 0, errors as empty texts
// (a note counts them), formulas as what they resulted in. Blank cells are missing.
class NVIMPORT_API Excel2007File : public SheetBookFile {
 public:
  Excel2007File();
};

// Registers the format.
class NVIMPORT_API Excel2007FileFactory final : public SprFileFactory {
 public:
  Excel2007FileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
