#pragma once

#include "nvimport/formats/workbook/SheetBookFile.h"
#include "nvimport/framework/RuledFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What repeats imports of old exactly. It costs what its line says.
struct Excel2007Rules {
  bool passwords_refused = true;  // encrypted workbooks, those without a password of their own

  // None of them.
  static constexpr Excel2007Rules Off() { return NoRules<Excel2007Rules>(); }
};

// Reads Excel workbooks that are packages: .xlsx and .xlsm, whose parts are XML, and .xlsb, whose
// parts are binary. Several worksheets of a workbook become one sheet, as with ExcelFile. Chart and
// dialog sheets are none.
//
// Numbers come as numbers, dates as texts in ISO form, booleans as 1 and 0, errors as empty texts
// (a note counts them), formulas as what they resulted in. Blank cells are missing.
class NVIMPORT_API Excel2007File : public SheetBookFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit Excel2007File(const Excel2007Rules& rules = {});
};

// Registers the format.
class NVIMPORT_API Excel2007FileFactory final : public RuledFactory<Excel2007File, Excel2007Rules> {
 public:
  // Of readers with these rules.
  explicit Excel2007FileFactory(const Excel2007Rules& rules = {});
};

}  // namespace nvimport
