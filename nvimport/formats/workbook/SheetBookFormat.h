#pragma once

#include <memory>
#include <span>

#include "nvimport/formats/workbook/SheetBook.h"
#include "nvimport/formats/workbook/SheetSelection.h"
#include "nvimport/framework/SpreadsheetFile.h"

namespace nvimport {

// What the files of several worksheets that are of one format have of their own.
struct SheetBookFormat {
  const char* source;                 // in the log
  int first_status;                   // of its block: SheetBookStatus counts from there
  std::span<const StatusText> texts;  // of them all
  SheetWords words;                   // of the question
  // Null when `outcome` is not kGood.
  std::unique_ptr<SheetBook> (*open)(const char* path, SheetBook::Outcome& outcome);
};

enum SheetBookStatus : int {
  kSheetBookNotOpen,
  kSheetBookBadWorkbook,
  kSheetBookBadWorksheet,
  kSheetBookOtherFormat,
  kSheetBookBroken,
  kSheetBookProtected,
  kSheetBookNoSheets,
  kSheetBookTooLarge,
  kSheetBookNoPassword,
  kSheetBookWrongPassword,
  kSheetBookNoCrypto
};

}  // namespace nvimport
