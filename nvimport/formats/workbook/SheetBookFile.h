#pragma once

#include <memory>
#include <string>
#include <vector>

#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

class SheetBook;
struct SheetBookFormat;
struct SheetSelection;

// Reads files of several worksheets, which become one sheet. Options are those of ExcelFile.
//
// The size is that of the cells that are there. Hidden worksheets stand behind the others.
class NVIMPORT_API SheetBookFile : public SpreadsheetFile {
 public:
  ~SheetBookFile() override;

  // New options that make Open take these worksheets, numbered from 1, without asking. The caller
  // owns the record and its bytes (SpreadsheetOpenOptions::FreeOpenOptions frees those).
  static NvImportOpenOptions* GetImportOptions(const std::vector<int>& sheets,
                                               bool above_and_below);

  // Without options the user is asked where there are several worksheets.
  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  void Close() override;
  bool LeaveSizeOpen() override;
  int Read(ReadSpreadSheetData* sink) override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

  // The names of the file's worksheets, in the order of their numbers. 0 on success.
  int GetWorksheets(std::vector<std::string>& names) const;

  // Takes one worksheet, or several in this order, instead of those chosen when the file was
  // opened. Numbers from 1; with one that there is none of nothing changes, and the answer is 5.
  int SetCurWorksheet(int sheet);
  int SetCurWorksheet(const std::vector<int>& sheets);

 protected:
  // Of a format that lasts as long as the library.
  explicit SheetBookFile(const SheetBookFormat& format);

 private:
  int EstablishSize() override;
  // With the worksheets that there are, hidden or not.
  int DescribeAll(Description& description) override;
  int ChooseSheets(NvImportOpenOptions* options);

  const SheetBookFormat& format_;
  std::unique_ptr<SheetBook> book_;
  std::unique_ptr<SheetSelection> selection_;
  bool leaves_size_open_ = false;
  std::vector<unsigned char> options_;  // handed out through the record given to Open
};

}  // namespace nvimport
