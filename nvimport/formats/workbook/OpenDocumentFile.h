#pragma once

#include "nvimport/formats/workbook/SheetBookFile.h"
#include "nvimport/framework/SprFileFactory.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Reads OpenDocument spreadsheets: packages (.ods) and files that are one XML document (.fods).
// Several sheets become one, as with ExcelFile.
//
// Cells come as those of Excel2007File: numbers, percentages and amounts as numbers, dates and
// times as texts in ISO form, truth values as 1 and 0, errors as empty texts (a note counts them),
// formulas as what they resulted in. A value that stands for several cells comes in each; blank
// cells are missing, however many there are. Notes at cells are none of their texts.
class NVIMPORT_API OpenDocumentFile : public SheetBookFile {
 public:
  OpenDocumentFile();
};

// Registers the format.
class NVIMPORT_API OpenDocumentFileFactory final : public SprFileFactory {
 public:
  OpenDocumentFileFactory();
  int IsCorrectFileType(const char* path) override;
  SpreadsheetFile* Create() override;
};

}  // namespace nvimport
