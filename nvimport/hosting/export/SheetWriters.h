#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/framework/MemorySheet.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Sheets.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/OutputFile.h"

namespace nvimport {

class Progress;

// The output formats of this layer itself.
enum class SheetFormat { kCsv, kTsv, kJsonLines, kJson, kArrow, kArrowStream, kXlsx };

// What is said of a sheet beside its cells, as names and values in UTF-8, in formats that have room
// for it.
using SheetMetadata = std::vector<std::pair<std::string, std::string>>;

// How texts are taken from a sheet and how they are written.
struct TextConversion {
  TextDecoder decoder{};  // from the bytes of the sheet to UTF-8
  TextEncoder encoder{};  // from UTF-8 to what is written
  // In CSV and TSV: a text that a spreadsheet would run as a formula gets an apostrophe before it.
  bool guards_formulas = false;
  // Likewise: of numbers, texts that are such too.
  char decimal_mark = '.';
};

// What stands before the rows: `head`, or what has to be there without one. A JSON document goes on
// with its names; what it says before ends with a comma.
NVIMPORT_API std::string_view HeadOf(SheetFormat format, std::string_view head);

// The least bytes that the format writes for each cell of the sheet, missing ones too.
NVIMPORT_API std::uint64_t BytesPerCell(SheetFormat format);

// Writes all rows, each as wide as the sheet, until `progress` stops it or a write fails. Failures
// stay with the stream. Returns how many cells of TSV stand in quotes since they hold a TAB or a
// line break, or how many texts of a workbook are cut.
NVIMPORT_API std::size_t WriteSheet(SheetFormat format, MemorySheet& sheet,
                                    const TextConversion& conversion, OutputFile& out,
                                    Progress& progress, const SheetMetadata& metadata = {});

// Whether so few cells stand among so many bytes of delimiters that nobody can want them.
NVIMPORT_API bool IsSparse(std::uint64_t cells, std::uint64_t delimiters);

// What rows that are written as they come are to be.
struct StreamedRows {
  int columns = 0;           // of each
  bool may_widen = false;    // else a row that is wider than they ends the read
  bool is_sparse = false;    // however few cells stand among however many delimiters
  SheetMetadata metadata{};  // of the sheet
};

// Writes each row as its last cell has come, and keeps none. What can't be written so (a cell that
// comes late or beyond the width, cells that are too few among their delimiters, a write that
// fails) ends the read by an exception.
class NVIMPORT_API StreamingSheet : public ReadOnlySheet {
 public:
  // Comes before the first cell.
  virtual void Begin(StreamedRows rows) = 0;
  // Writes what is left. False when the sheet is less wide than its rows.
  virtual bool Finish() = 0;
  // As WriteSheet returns it.
  virtual std::size_t broken() const = 0;
  // Neither a cell came nor room for one.
  virtual bool is_empty() const = 0;
  // The first row that was wider than those before it; 0 for none.
  virtual int widened_at() const = 0;
  // Whether it ended the read.
  bool gave_up() const { return gave_up_; }

 protected:
  // Is thrown to end the read.
  struct GaveUp : std::exception {};
  bool gave_up_ = false;  // it was
};

// One that writes to `out`; it and `conversion` must outlive the sheet.
NVIMPORT_API std::unique_ptr<StreamingSheet> NewStreamingSheet(SheetFormat format,
                                                               const TextConversion& conversion,
                                                               OutputFile& out);

// A text that JSON takes for a number, as a cell of that number. None where digits would be lost: a
// whole number that is no double is one of 64 bits, or stays a text.
NVIMPORT_API std::optional<MemoryCell> NumberIn(std::string_view text);

// One cell as a JSON value in UTF-8.
NVIMPORT_API std::string JsonCell(const MemoryCell& cell, const TextDecoder& decoder);

// A sheet for the writer of a registered format: texts come out converted.
class NVIMPORT_API ConvertedSheet final : public SpreadsheetData {
 public:
  // Both must outlive it.
  ConvertedSheet(SpreadsheetData& sheet, const TextConversion& conversion)
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
  SpreadsheetData& sheet_;
  const TextConversion& conversion_;
  std::string decoded_;
  std::string encoded_;
};

}  // namespace nvimport
