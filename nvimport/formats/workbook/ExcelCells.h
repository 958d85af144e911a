#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "nvimport/formats/workbook/ExcelWorkbook.h"

namespace nvimport {

class ReadSpreadSheetData;
class SheetExtent;

// Hands the cells of worksheets to a sink, and counts what the rules cost.
class ExcelCells {
 public:
  explicit ExcelCells(ExcelWorkbook& book) : book_(book) {}

  // Reads the worksheet at `position` of the stream, its cells moved by `columns` and `rows`. False
  // when the last record could not be read.
  bool ReadSheet(std::uint64_t position, ReadSpreadSheetData* sink, int columns, int rows);

  // Extends `extent` to the cells that ReadSheet would give.
  void Measure(std::uint64_t position, SheetExtent& extent);

  void WriteNotes() const;

 private:
  // Cells that a rule left out, and such that came otherwise than they stand in the file.
  struct LeftOut {
    std::uint64_t before_first_row = 0;
    std::uint64_t biff2 = 0;
    std::uint64_t biff3 = 0;
    std::uint64_t formulas = 0;
    std::uint64_t formula_errors = 0;
    std::uint64_t empty_texts = 0;
    std::uint64_t array_texts = 0;
  };
  struct Changed {
    std::uint64_t labels = 0;
    std::uint64_t boolerrs = 0;
    std::uint64_t shared_strings = 0;
    std::uint64_t lost_strings = 0;
    std::uint64_t numbers_as_dates = 0;
    std::uint64_t dates_as_numbers = 0;
    std::uint64_t wrapped = 0;
  };

  struct Place {
    int column;
    int row;
  };
  Place PlaceAt(const char* data) const {
    const auto head = LoadLittle<std::uint32_t>(data);
    return {static_cast<int>(head >> 16) + columns_, static_cast<int>(head & 0xFFFF) + rows_};
  }
  Place PlaceOf(const BiffRecord& record) {
    const std::uint32_t head = record.length >= 4
                                   ? LoadLittle<std::uint32_t>(record.data)
                                   : record.U16(0) | std::uint32_t{record.U8(2)} << 16;
    unsigned column = head >> 16;
    if (column > kLastByte) column = FarColumn(column);
    return {static_cast<int>(column) + columns_, static_cast<int>(head & 0xFFFF) + rows_};
  }
  unsigned FarColumn(unsigned column);

  template <typename TakeCells>
  bool ReadRecords(std::uint64_t position, ReadSpreadSheetData* sink, int columns, int rows,
                   TakeCells take);
  template <typename TakeCells>
  void PassPlain(const TakeCells& take);
  bool Next(BiffRecord& record);
  bool GoToFirstRow();
  bool PassSubstream();
  void Take(BiffRecord& record);
  void TakeOther(BiffRecord& record);
  void TakeOwnGlobal(const BiffRecord& record);
  void TakeNumber(const BiffRecord& record);
  void TakeInteger(const BiffRecord& record);
  void TakeLabel(BiffRecord& record);
  void TakeBoolErr(const BiffRecord& record);
  void TakeFormula(const BiffRecord& record);
  void TakeFormulaText(Place place);
  void TakeMulRk(const BiffRecord& record);
  bool IsTaken(std::uint16_t id);
  bool IsFormula(std::uint16_t id);
  bool IsOtherFormula(std::uint16_t id);
  bool HasLongHead(std::uint16_t id) const;
  void SetPlain(Place place, double value);
  void SetNumber(Place place, std::uint16_t xf, double value);
  void SetNumberOf(const BiffRecord& record, double value, bool has_long_head);
  void SetRks(Place place, const char* cells, unsigned count);
  void SetShared(Place place, std::uint32_t index);
  void SetEmpty(Place place, bool is_left_out, std::uint64_t& left_out);
  void SetDate(Place place, ExcelXf xf, double value);
  void SetText(Place place, BiffRecord& record, std::size_t at, std::size_t size);
  bool SetConverted(Place place, std::string_view text);
  void SetString(Place place, BiffRecord& record, std::size_t at);

  static constexpr unsigned kLastByte = 0xFF;

  ExcelWorkbook& book_;
  ReadSpreadSheetData* sink_ = nullptr;
  bool takes_exact_ = false;
  int columns_ = 1;  // added to the numbers from 0 that cells have
  int rows_ = 1;
  bool read_ = true;
  // Of a sheet that brings its own; none where those of the workbook hold.
  std::unique_ptr<ExcelFormats> formats_;
  std::size_t current_xf_ = 0;  // of the BIFF2 cells that leave it to an IXFE record
  std::string text_;            // a text that had to be converted
  LeftOut left_out_;
  Changed changed_;
};

}  // namespace nvimport
