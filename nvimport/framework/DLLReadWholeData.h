#pragma once

#include "nvimport/framework/NvImportMore.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// The sink over a caller's record of callbacks for whole values, for the length of one read.
class NVIMPORT_API DLLReadWholeData final : public ReadSpreadSheetData {
 public:
  // Delivers to `data`, which must outlive this.
  explicit DLLReadWholeData(NvImportWholeData* data) : data_(data) {}

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, int value) override;
  void Set(int column, int row, long long value) override { SetExact(column, row, value); }
  void Set(int column, int row, double value) override { SetExact(column, row, value); }
  void Set(int column, int row, const char* text) override;
  void Set(int column, int row, const char* text, std::size_t length) override;
  void Set(int column, int row, float value) override;
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override;
  void SetExact(int column, int row, long long value) override;
  int GetNextIndex(int previous) override;
  void SetDataSize(int columns, int rows) override;
  int GetNumberOfColumns() override { return data_->columns; }
  int GetNumberOfRows() override { return data_->rows; }

 private:
  NvImportWholeData* data_;
};

}  // namespace nvimport
