// The records of cells, with the row in their first 16 bits and the column in the next. Where BIFF2
// has a byte more of format, what follows stands one further on.
//   0x0002 INTEGER    7 uint16                0x027E RK        4 uint16 XF  6 RK
//   0x0203 NUMBER     4 uint16 XF  6 double   0x00BD MULRK     4 (uint16 XF, RK) each  uint16 last
//   0x0204 LABEL      6 uint16     8 text     0x00D6 RSTRING   6 uint16     8 text
//   0x0205 BOOLERR    6 uint8      7 is error 0x00FD LABELSST  6 uint32 shared string
//   0x0006 FORMULA    4 uint16 XF  6 double, or type, 0, value, ..., 0xFFFF; a STRING may follow

#include "formats/workbook/ExcelCells.h"

#include <algorithm>
#include <utility>

#include "framework/SpreadsheetData.h"
#include "platform/Log.h"
#include "platform/SerialDate.h"

namespace {

constexpr std::uint16_t kEof = 0x000A;
constexpr std::uint16_t kSharedFormula = 0x04BC;
constexpr std::uint16_t kArrays[] = {0x0021, 0x0221, 0x0036, 0x0236};
constexpr std::uint8_t kBof = 0x09;
constexpr std::uint8_t kRow = 0x08;
constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kNumber = 0x03;
constexpr std::uint8_t kLabel = 0x04;
constexpr std::uint8_t kBoolErr = 0x05;
constexpr std::uint8_t kFormula = 0x06;
constexpr std::uint8_t kString = 0x07;
constexpr std::uint8_t kRk = 0x7E;
constexpr std::uint8_t kMulRk = 0xBD;
constexpr std::uint8_t kRString = 0xD6;
constexpr std::uint8_t kLabelSst = 0xFD;

// Counts the cells that come.
class CountingSink final : public ReadSpreadSheetData {
 public:
  using ReadSpreadSheetData::Set;
  void Set(int, int, const char*) override { ++cells_; }
  void Set(int, int, float) override { ++cells_; }
  void SetDataSize(int, int) override {}
  int GetNumberOfColumns() override { return 0; }
  int GetNumberOfRows() override { return 0; }
  std::uint64_t cells() const { return cells_; }

 private:
  std::uint64_t cells_ = 0;
};

const char* ErrorName(std::uint8_t code) {
  switch (code) {
    case 0x00:
      return "#NULL!";
    case 0x07:
      return "#DIV/0!";
    case 0x0F:
      return "#VALUE!";
    case 0x17:
      return "#REF!";
    case 0x1D:
      return "#NAME?";
    case 0x24:
      return "#NUM!";
    default:
      return "#N/A";
  }
}

}  // namespace

bool ExcelCells::Next(BiffRecord& record) { return read_ = book_.ReadRecord(record); }

bool ExcelCells::ReadSheet(std::uint64_t position, ReadSpreadSheetData* sink, int columns,
                           int rows) {
  sink_ = sink;
  columns_ = columns;
  rows_ = rows;
  book_.stream->Seek(position);
  if (!GoToFirstRow()) return read_;
  BiffRecord record;
  while (Next(record) && record.id != kEof && record.low_id() != kBof) Take(record);
  return read_;
}

// False when the sheet ends before its cells begin.
bool ExcelCells::GoToFirstRow() {
  BiffRecord record;
  if (!book_.rules.skip_cells_before_first_row) {
    if (!Next(record)) return false;
    if (record.low_id() != kBof) Take(record);
    return true;
  }
  const Changed changed = changed_;
  CountingSink counting;
  ReadSpreadSheetData* const sink = std::exchange(sink_, &counting);
  bool is_row = false;
  while (!is_row && Next(record) && record.id != kEof) {
    is_row = record.low_id() == kRow || record.low_id() == kLabel;
    Take(record);
  }
  sink_ = sink;
  changed_ = changed;
  left_out_.before_first_row += counting.cells();
  return is_row;
}

void ExcelCells::Take(BiffRecord& record) {
  switch (record.low_id()) {
    case kRk:
      if (record.id == 0x027E)
        SetNumber(PlaceOf(record), record.U16(4),
                  ExcelFile::NumFromRk(record.Field<std::int32_t>(6)));
      return;
    case kNumber:
      if (IsTaken(record.id))
        SetNumber(PlaceOf(record), record.U16(4), record.F64(book_.is_biff2 ? 7 : 6));
      return;
    case kLabelSst:
      if (record.id == kLabelSst && book_.version >= 8) {
        const std::uint32_t index = record.U32(6);
        if (index >= book_.strings.first_damaged()) ++changed_.shared_strings;
        const Place place = PlaceOf(record);
        sink_->Set(place.column, place.row, book_.strings.At(index));
      }
      return;
    case kMulRk:
      if (record.id == kMulRk && book_.version >= 5) TakeMulRk(record);
      return;
    case kFormula:
      if (IsFormula(record.id)) TakeFormula(record);
      return;
    case kLabel:
      if (IsTaken(record.id)) TakeLabel(record);
      return;
    case kRString:
      TakeLabel(record);
      return;
    case kBoolErr:
      if (IsTaken(record.id)) TakeBoolErr(record);
      return;
    case kInteger:
      TakeInteger(record);
      return;
    default:
      return;
  }
}

// Kept: the records of BIFF2 have ids of their own, which are not taken, and of BIFF3 none is.
bool ExcelCells::IsTaken(std::uint16_t id) {
  if (book_.version == 2 && id >> 8 == 2) {
    left_out_.biff3 += book_.rules.ignore_biff3_cells ? 1 : 0;
    return !book_.rules.ignore_biff3_cells;
  }
  if (book_.version == 0 && id >> 8 == 0) {
    left_out_.biff2 += book_.rules.ignore_biff2_cells ? 1 : 0;
    return !book_.rules.ignore_biff2_cells;
  }
  return id >> 8 == 2;
}

bool ExcelCells::IsFormula(std::uint16_t id) {
  if (book_.version == 2 && id == 0x0206) return IsTaken(id);
  return id == (book_.version == 4 ? 0x0406 : 0x0006);
}

// Kept: of BIFF3, which has no such record, it is taken; of BIFF2, which has, it is not.
void ExcelCells::TakeInteger(const BiffRecord& record) {
  if (record.id != kInteger || (book_.version != 2 && !(book_.is_biff2 && IsTaken(record.id))))
    return;
  const Place place = PlaceOf(record);
  const int value = book_.is_biff2 ? record.U16(7) : record.Field<std::int16_t>(7);
  sink_->Set(place.column, place.row, static_cast<double>(value));
}

void ExcelCells::TakeLabel(BiffRecord& record) {
  const Place place = PlaceOf(record);
  if (book_.is_biff2 && record.low_id() == kLabel) return SetText(place, record, 8, record.U8(7));
  if (book_.is_biff8 && !book_.rules.labels_without_option_byte) return SetString(place, record, 6);
  if (book_.is_biff8 && record.U16(6) > 0) ++changed_.labels;
  SetText(place, record, 8, record.U16(6));
}

void ExcelCells::TakeBoolErr(const BiffRecord& record) {
  const Place place = PlaceOf(record);
  const std::size_t at = book_.is_biff2 ? 7 : 6;
  if (book_.rules.boolerr_as_empty_text) {
    ++changed_.boolerrs;
    sink_->Set(place.column, place.row, "");
  } else if (record.U8(at + 1) != 0) {
    sink_->Set(place.column, place.row, ErrorName(record.U8(at)));
  } else {
    sink_->Set(place.column, place.row, static_cast<double>(record.U8(at)));
  }
}

void ExcelCells::TakeFormula(const BiffRecord& record) {
  const std::size_t at = book_.is_biff2 ? 7 : 6;
  const Place place = PlaceOf(record);
  if (record.U16(at + 6) != 0xFFFF) return SetNumber(place, record.U16(4), record.F64(at));
  enum Type : std::uint8_t { kText = 0, kBoolean = 1, kError = 2 };
  switch (record.U8(at)) {
    case kText:
      return TakeFormulaText(place);
    case kBoolean:
      sink_->Set(place.column, place.row, static_cast<double>(record.Field<std::int8_t>(at + 2)));
      return;
    case kError:
      if (book_.rules.ignore_formula_errors)
        ++left_out_.formula_errors;
      else
        sink_->Set(place.column, place.row, ErrorName(record.U8(at + 2)));
      return;
    default:
      return;
  }
}

// The text stands in the STRING record behind the formula; without one, what is there is the next
// record of the sheet.
void ExcelCells::TakeFormulaText(Place place) {
  BiffRecord record;
  std::uint64_t position = book_.stream->Tell();
  if (!Next(record)) return;
  const bool is_array = std::ranges::find(kArrays, record.id) != std::end(kArrays);
  if (record.id == kSharedFormula || (is_array && !book_.rules.string_only_after_shrfmla)) {
    position = book_.stream->Tell();
    if (!Next(record)) return;
  }
  if (record.low_id() != kString) {
    left_out_.array_texts += is_array ? 1 : 0;
    return book_.stream->Seek(position);
  }
  if (book_.is_biff8) return SetString(place, record, 0);
  if (book_.is_biff2) return SetText(place, record, 1, record.U8(0));
  SetText(place, record, 2, record.U16(0));
}

void ExcelCells::TakeMulRk(const BiffRecord& record) {
  constexpr std::size_t kEntry = 6;
  const Place first = PlaceOf(record);
  // Entries that run into the last column's number are none.
  const int held = (record.length - 6) / static_cast<int>(kEntry);
  const int last = record.U16(static_cast<std::size_t>(std::max<int>(record.length, 2)) - 2);
  const int count = std::min(last - record.U8(2) + 1, held);
  std::size_t at = 4;
  for (int i = 0; i < count; ++i, at += kEntry)
    SetNumber({first.column + i, first.row}, record.U16(at),
              ExcelFile::NumFromRk(record.Field<std::int32_t>(at + 2)));
}

void ExcelCells::SetNumber(Place place, std::uint16_t xf, double value) {
  if (xf < book_.xfs.size() && book_.xfs[xf] != ExcelXf::kNumber)
    return SetDate(place, book_.xfs[xf], value);
  sink_->Set(place.column, place.row, value);
}

void ExcelCells::SetDate(Place place, ExcelXf xf, double value) {
  if (xf == ExcelXf::kDateTakenForNumber) {
    ++changed_.dates_as_numbers;
    return sink_->Set(place.column, place.row, value);
  }
  if (xf == ExcelXf::kNumberTakenForDate) ++changed_.numbers_as_dates;
  DateText text;
  IEEEDate_2_string(value, book_.since_1904, text);
  sink_->Set(place.column, place.row, text.data());
}

// Hands on a text as it lies in the record; the byte behind it serves as its NUL meanwhile.
void ExcelCells::SetText(Place place, BiffRecord& record, std::size_t at, std::size_t size) {
  struct Terminated {
    char* end;
    char before;
    ~Terminated() { *end = before; }
  };
  const std::string_view text = record.Text(at, size);
  char* const begin = record.data + (text.data() - record.data);
  const Terminated terminated{begin + text.size(), std::exchange(begin[text.size()], '\0')};
  sink_->Set(place.column, place.row, begin);
}

void ExcelCells::SetString(Place place, const BiffRecord& record, std::size_t at) {
  ReadExcelString(record, at, text_);
  sink_->Set(place.column, place.row, text_.c_str());
}

void ExcelCells::WriteNotes() const {
  const struct {
    std::uint64_t cells;
    const char* one;
    const char* several;
  } kNotes[] = {
      {left_out_.before_first_row, "cell stands before the first ROW record and was not delivered",
       "cells stand before the first ROW record and were not delivered"},
      {left_out_.biff2, "INTEGER, NUMBER, LABEL or BOOLERR cell of BIFF2 was not delivered",
       "INTEGER, NUMBER, LABEL and BOOLERR cells of BIFF2 were not delivered"},
      {left_out_.biff3, "NUMBER, LABEL, BOOLERR or FORMULA cell of BIFF3 was not delivered",
       "NUMBER, LABEL, BOOLERR and FORMULA cells of BIFF3 were not delivered"},
      {changed_.labels, "text of a LABEL or RSTRING cell of BIFF8 was delivered empty or damaged",
       "texts of LABEL and RSTRING cells of BIFF8 were delivered empty or damaged"},
      {changed_.boolerrs, "boolean or error was delivered as an empty text",
       "booleans and errors were delivered as empty texts"},
      {left_out_.formula_errors, "formula results in an error and was not delivered",
       "formulas result in an error and were not delivered"},
      {left_out_.array_texts, "text of an array formula was not delivered",
       "texts of array formulas were not delivered"},
      {changed_.shared_strings,
       "text stands behind a shared string that goes on in another record and may be damaged",
       "texts stand behind a shared string that goes on in another record and may be damaged"},
      {changed_.numbers_as_dates, "number was taken for a date and delivered as its text",
       "numbers were taken for dates and delivered as their texts"},
      {changed_.dates_as_numbers, "date was taken for a number and delivered as that",
       "dates were taken for numbers and delivered as those"},
  };
  for (const auto& note : kNotes)
    if (note.cells > 0)
      Log::WriteNote("ExcelFile", std::to_string(note.cells) + " " +
                                      (note.cells == 1 ? note.one : note.several));
}
