#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/framework/RuledFactory.h"
#include "nvimport/framework/SpreadsheetFile.h"
#include "nvimport/platform/Export.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/SerialDate.h"

namespace nvimport {

class BlockReader;

// Habits that repeat imports of old exactly. Each costs what its line says.
struct LotusRules {
  bool formula_values_left_out = true;  // a formula's value arrives only if it is no number
  bool formula_texts_left_out = true;   // the texts that formulas result in
  bool range_start_ignored = true;      // a range not from the first cell loses what its width ends
  bool cells_in_range_only = true;      // cells outside the range that the worksheet states
  bool range_needed = true;             // worksheets that state none
  bool new_records_end_read = true;     // worksheets with records of types above 256
  bool texts_as_stored = true;          // the code page that texts are in
  bool dates_as_numbers = true;         // the formats of cells that show dates and times

  // None of them: every cell of the file.
  static constexpr LotusRules Off() { return NoRules<LotusRules>(); }
};

// Worksheets of Lotus 1-2-3 release 1A and 2 and of Symphony (WKS, WK1, WRK, WR1).
class NVIMPORT_API LotusFile : public SpreadsheetFile {
 public:
  // A reader with some of the kept rules of reading, at first with all.
  explicit LotusFile(const LotusRules& rules = {});
  // A reader of the same file, from its beginning.
  LotusFile(const LotusFile& other);
  LotusFile& operator=(const LotusFile& other);
  ~LotusFile() override;

  int Open(bool read, const char* path, NvImportOpenOptions* options) override;
  int Read(ReadSpreadSheetData* sink) override;
  void Close() override;
  // From the range that the worksheet states; -1 without one.
  int GetNumCols() override;
  int GetNumRows() override;
  bool LeaveSizeOpen() override;
  void GetErrorMessage(char* buffer, unsigned int size) override;

 protected:
  // The size comes from the range alone: this does nothing and returns 1.
  int EstablishSize() override;
  // Whose worksheet it is, and the range that it states.
  int DescribeAll(Description& description) override;

 private:
  struct Record {
    int type = 0;
    int length = 0;
    const char* data = nullptr;
  };
  struct LeftOut {
    std::uint64_t formulas = 0;
    std::uint64_t outside = 0;
  };
  struct Place {
    int column = 0;
    int row = 0;
  };
  struct Range {
    bool IsEmpty() const { return last.column < first.column || last.row < first.row; }
    Place first;
    Place last = {-1, -1};
  };

  int IsLotusFile();
  bool ReadHead(Record& record);
  bool ReadData(Record& record);
  bool IsCorrupt(const Record& record) const;
  bool FindLotusRecord(int type, int needed, Record& record);
  bool FindRange(Range& range);
  bool EstablishRange();
  void MeasureRange(Range& range);
  Place PlaceOf(const Record& record) const;
  void EstablishForms(char default_format);
  DateForm FormOf(char format) const { return forms_[static_cast<unsigned char>(format)]; }
  void SetNumber(Place place, double value, ReadSpreadSheetData& sink) const;
  void SetValue(Place place, char format, double value, ReadSpreadSheetData& sink) const;
  std::size_t SetCells(std::span<const char> bytes, ReadSpreadSheetData& sink, LeftOut& left_out);
  void SetCell(const Record& record, ReadSpreadSheetData& sink, LeftOut& left_out);
  void SetText(std::span<const char> data, std::size_t at, Place place,
               ReadSpreadSheetData& sink) const;
  void SetOddText(std::string_view stored, Place place, ReadSpreadSheetData& sink) const;
  void SetFormula(std::span<const char> data, Place place, ReadSpreadSheetData& sink,
                  LeftOut& left_out);
  bool SetFormulaText(Place place, ReadSpreadSheetData& sink);
  bool IsValidPos(Place place);
  bool MoveEndTo(Place place);

  LotusRules rules_;
  int last_type_;  // of records; one above it is none
  std::string path_;
  InputFile input_;
  std::unique_ptr<BlockReader> reader_;
  Place shift_ = {1, 1};               // added to the numbers from 0 that cells have
  bool takes_exact_ = false;           // the sink does
  Place end_;                          // the last place that a cell may have, or had
  bool leaves_size_open_ = false;      // where the range begins with the first cell
  int stated_rows_ = 0;                // of the range then
  std::array<DateForm, 256> forms_{};  // what each format byte shows
};

class NVIMPORT_API LotusFileFactory final : public RuledFactory<LotusFile, LotusRules> {
 public:
  explicit LotusFileFactory(const LotusRules& rules = {});
};

}  // namespace nvimport
