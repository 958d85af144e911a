#pragma once

#include <cstdint>
#include <string>

#include "formats/workbook/ExcelFile.h"

class ReadSpreadSheetData;

// Hands the cells of worksheets to a sink, and counts what the rules cost.
class ExcelCells {
 public:
  explicit ExcelCells(ExcelWorkbook& book) : book_(book) {}

  // Reads the worksheet at `position` of the stream, its cells moved by `columns` and `rows`. False
  // when the last record could not be read.
  bool ReadSheet(std::uint64_t position, ReadSpreadSheetData* sink, int columns, int rows);

  void WriteNotes() const;

 private:
  // Cells that a rule left out, and such that came otherwise than they stand in the file.
  struct LeftOut {
    std::uint64_t before_first_row = 0;
    std::uint64_t biff2 = 0;
    std::uint64_t biff3 = 0;
    std::uint64_t formula_errors = 0;
    std::uint64_t array_texts = 0;
  };
  struct Changed {
    std::uint64_t labels = 0;
    std::uint64_t boolerrs = 0;
    std::uint64_t shared_strings = 0;
    std::uint64_t numbers_as_dates = 0;
    std::uint64_t dates_as_numbers = 0;
  };

  struct Place {
    int column;
    int row;
  };
  Place PlaceOf(const BiffRecord& record) const {
    return {record.U8(2) + 1 + columns_, record.U16(0) + 1 + rows_};
  }

  bool Next(BiffRecord& record);
  bool GoToFirstRow();
  void Take(BiffRecord& record);
  void TakeInteger(const BiffRecord& record);
  void TakeLabel(BiffRecord& record);
  void TakeBoolErr(const BiffRecord& record);
  void TakeFormula(const BiffRecord& record);
  void TakeFormulaText(Place place);
  void TakeMulRk(const BiffRecord& record);
  bool IsTaken(std::uint16_t id);
  bool IsFormula(std::uint16_t id);
  void SetNumber(Place place, std::uint16_t xf, double value);
  void SetDate(Place place, ExcelXf xf, double value);
  void SetText(Place place, BiffRecord& record, std::size_t at, std::size_t size);
  void SetString(Place place, const BiffRecord& record, std::size_t at);

  ExcelWorkbook& book_;
  ReadSpreadSheetData* sink_ = nullptr;
  int columns_ = 0;
  int rows_ = 0;
  bool read_ = true;
  std::string text_;  // a text that had to be converted
  LeftOut left_out_;
  Changed changed_;
};
