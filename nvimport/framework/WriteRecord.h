#pragma once

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetData.h"

namespace nvimport {

// The source behind a record of callbacks that DLLFile made, which can say more than the callbacks
// do; null behind a host's own.
WriteSpreadSheetData* SourceOf(const NvImportWriteData& record);

}  // namespace nvimport
