#pragma once

#include "nvimport/framework/NvImport.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The sink over a caller's record of callbacks, for the length of one read. The record takes rows
// first. Whole numbers that a float can't be trusted with (from 999991 up) arrive as text, so that
// identifiers and time stamps keep every digit.
class NVIMPORT_API DLLReadSpreadSheetData : public ReadSpreadSheetData {
 public:
  // Delivers to `data`, which must outlive this.
  explicit DLLReadSpreadSheetData(NvImportReadData* data) : data_(data) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, long long value) override;
  void Set(int column, int row, double value) override;
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, float value) override;
  int GetNextIndex(int previous) override;
  void SetDataSize(int columns, int rows) override;
  int GetNumberOfColumns() override;
  int GetNumberOfRows() override;

 private:
  NvImportReadData* data_;
};

}  // namespace nvimport
