#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class Excel2007Book;
struct SheetSelection;

// What repeats imports of old exactly. It costs what its line says.
struct Excel2007Rules {
  bool passwords_refused = true;  // encrypted workbooks, those without a password of their own

  static constexpr Excel2007Rules Off() { return NoRules<Excel2007Rules>(); }
};

// Reads Excel workbooks that are packages: .xlsx and .xlsm, whose parts are XML, and .xlsb, whose
// parts are binary. Several worksheets of a workbook become one sheet, as with ExcelFile.
//
// Numbers come as numbers, dates as texts in ISO form, booleans as 1 and 0, errors as empty texts
// (a note counts them), formulas as what they resulted in. Blank cells are missing. The size is
// that of the cells that are there.
class NVIMPORT_API Excel2007File : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit Excel2007File(const Excel2007Rules& rules = {});
  ~Excel2007File() override;

  // New options that make Open take these worksheets, numbered from 1, without asking. The caller
  // owns the record and its bytes (SpreadsheetOpenOptions::FreeOpenOptions frees those).
  static NvImportOpenOptions* GetImportOptions(const std::vector<int>& sheets,
                                               bool above_and_below);

  // Options are those of ExcelFile. Without them the user is asked where there are several
  // worksheets. Chart and dialog sheets are none; hidden worksheets stand behind the others.
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  int Read(ReadSpreadSheetData* sink) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The names of the workbook's worksheets, in the order of their numbers. 0 on success.
  int GetWorksheets(std::vector<std::string>& names) const;

  // Takes one worksheet, or several in this order, instead of those chosen when the file was
  // opened. Numbers from 1; with one that there is none of nothing changes, and the answer is 5.
  int SetCurWorksheet(int sheet);
  int SetCurWorksheet(const std::vector<int>& sheets);

 private:
  int EstablishSize() override;
  // With the worksheets that there are, hidden or not.
  int DescribeAll(Description& description) override;
  int ChooseSheets(NvImportOpenOptions* options);

  Excel2007Rules rules_;
  std::unique_ptr<Excel2007Book> book_;
  std::unique_ptr<SheetSelection> selection_;
  std::vector<unsigned char> options_;  // handed out through the record given to Open
};

// Registers the format.
class NVIMPORT_API Excel2007FileFactory final : public RuledFactory<Excel2007File, Excel2007Rules> {
 public:
  explicit Excel2007FileFactory(const Excel2007Rules& rules = {});
};

}  // namespace nvimport
