#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

class Progress;

// The output formats of this layer itself.
enum class SheetFormat { kCsv, kTsv, kJsonLines };

// How texts are taken from a sheet and how they are written.
struct TextConversion {
  TextDecoder decoder{};  // from the bytes of the sheet to UTF-8
  TextEncoder encoder{};  // from UTF-8 to what is written
  // In CSV and TSV: a text that a spreadsheet would run as a formula gets an apostrophe before it.
  bool guards_formulas = false;
};

// The least bytes that the format writes for each cell of the sheet, missing ones too.
NVIMPORT_API std::uint64_t BytesPerCell(SheetFormat format);

// Writes all rows, each as wide as the sheet, until `progress` stops it or a write fails. Failures
// stay with the stream. Returns how many cells of TSV stand in quotes since they hold a TAB or a
// line break.
NVIMPORT_API std::size_t WriteSheet(SheetFormat format, MemorySheet& sheet,
                                    const TextConversion& conversion, OutputFile& out,
                                    Progress& progress);

// One cell as a JSON value in UTF-8.
NVIMPORT_API std::string JsonCell(const MemoryCell& cell, const TextDecoder& decoder);

// A sheet for the writer of a registered format: texts come out converted.
class NVIMPORT_API ConvertedSheet final : public SpreadsheetData {
 public:
  // Both must outlive it.
  ConvertedSheet(MemorySheet& sheet, const TextConversion& conversion)
      : sheet_(sheet), conversion_(conversion) {}

  float GetNumber(int column, int row) override { return sheet_.GetNumber(column, row); }
  std::optional<double> GetExact(int column, int row) override {
    return sheet_.GetExact(column, row);
  }
  // Valid until the next call.
  const char* GetText(int column, int row) override;
  bool CellFlag(int column, int row) override { return sheet_.CellFlag(column, row); }
  bool IsNumber(int column, int row) override { return sheet_.IsNumber(column, row); }
  bool IsMissing(int column, int row) override { return sheet_.IsMissing(column, row); }
  bool IsText(int column, int row) override { return sheet_.IsText(column, row); }
  bool KeepsTextOf(int column, int row) override { return sheet_.KeepsTextOf(column, row); }
  int GetNumberOfColumns() override { return sheet_.GetNumberOfColumns(); }
  int GetNumberOfRows() override { return sheet_.GetNumberOfRows(); }

  // Nothing is read into it.
  using ReadSpreadSheetData::Set;
  void Set(int, int, const char*) override {}
  void Set(int, int, float) override {}
  void SetDataSize(int, int) override {}

 private:
  MemorySheet& sheet_;
  const TextConversion& conversion_;
  std::string decoded_;
  std::string encoded_;
};

}  // namespace nvimport
