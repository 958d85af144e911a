#pragma once

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The source over a caller's record of callbacks, for the length of one write. The record takes
// rows first, but for its flag callback.
class NVIMPORT_API DLLWriteSpreadSheetData : public WriteSpreadSheetData {
 public:
  // Takes from `data`, which must outlive this.
  explicit DLLWriteSpreadSheetData(NvImportWriteData* data) : data_(data) {}

  float GetNumber(int column, int row) override;
  const char* GetText(int column, int row) override;
  bool CellFlag(int column, int row) override;
  bool IsNumber(int column, int row) override;
  bool IsMissing(int column, int row) override;
  bool IsText(int column, int row) override;
  bool KeepsTextOf(int column, int row) override;
  std::optional<double> GetExact(int column, int row) override;
  int GetNumberOfColumns() override;
  int GetNumberOfRows() override;

 private:
  bool IsKind(CellKind kind, int column, int row);

  NvImportWriteData* data_;
};

}  // namespace nvimport
