// The records of cells, with the row in their first 16 bits and the column in the next. BIFF2 has
// its own INTEGER, NUMBER, LABEL, BOOLERR and FORMULA, 0x0002 to 0x0006, with a byte more of
// format, so that what follows stands one further on:
//   4 uint8 XF in the lower six bits, 63: that of the last IXFE   5 uint8 format in the lower six
//   0x0002 INTEGER    7 uint16                0x027E RK        4 uint16 XF  6 RK
//   0x0203 NUMBER     4 uint16 XF  6 double   0x00BD MULRK     4 (uint16 XF, RK) each  uint16 last
//   0x0204 LABEL      6 uint16     8 text     0x00D6 RSTRING   6 uint16     8 text
//   0x0205 BOOLERR    6 uint8      7 is error 0x00FD LABELSST  6 uint32 shared string
//   0x0006 FORMULA    4 uint16 XF  6 double, or type, 0, value, ..., 0xFFFF; a STRING may follow

#include "nvimport/formats/workbook/ExcelCells.h"

#include <algorithm>
#include <span>
#include <utility>

#include "nvimport/formats/workbook/SheetExtent.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/SerialDate.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr std::uint16_t kIxfe = 0x0044;
constexpr std::uint16_t kFormats[] = {0x001E, 0x041E};
constexpr std::uint16_t kXfs[] = {0x0043, 0x0243, 0x0443, 0x00E0};
constexpr std::uint16_t kFormulas[] = {0x0006, 0x0206, 0x0406};
constexpr std::uint16_t kNumberRecord = 0x0203;
constexpr std::uint16_t kRkRecord = 0x027E;
constexpr std::uint16_t kBofs[] = {0x0009, 0x0209, 0x0409, 0x0809};
constexpr std::uint16_t kChart = 0x0020;
constexpr std::uint16_t kSharedFormula = 0x04BC;
constexpr std::uint16_t kArrays[] = {0x0021, 0x0221, 0x0036, 0x0236, 0x0037};
constexpr int kBiff5Version = 8;
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
constexpr std::size_t kRkEntry = 6;  // an XF and an RK, in a run of them

// What most records of cells are.
enum class Plain { kDouble, kText, kRks };

// Gives `take` the cells of BIFF5 and BIFF8 that lie next in `bytes` and whose records are whole
// and as usual: what they are, where their data is and how many they are. Returns their bytes.
template <typename Take>
std::size_t TakePlain(std::span<const char> bytes, const Take& take) {
  constexpr auto head_of = [](std::uint32_t id, std::uint32_t length) { return id | length << 16; };
  constexpr std::size_t kHead = BaseStream::kHeadSize;
  constexpr std::size_t kNumberSize = 14;
  constexpr std::size_t kOtherSize = 10;
  constexpr std::size_t kLargestRks = 2048;  // of 340 columns
  std::size_t at = 0;
  while (bytes.size() - at >= kHead + kNumberSize) {
    const char* const data = bytes.data() + at + kHead;
    const auto head = LoadLittle<std::uint32_t>(data - kHead);
    if (head == head_of(kLabelSst, kOtherSize)) {
      at += kHead + kOtherSize;
      take(Plain::kText, data, 1U);
    } else if (head == head_of(kNumberRecord, kNumberSize)) {
      at += kHead + kNumberSize;
      take(Plain::kDouble, data, 1U);
    } else if (head == head_of(kRkRecord, kOtherSize)) {
      at += kHead + kOtherSize;
      take(Plain::kRks, data, 1U);
    } else {
      const std::size_t length = head >> 16;
      if (static_cast<std::uint16_t>(head) != kMulRk || length < 2 * kRkEntry ||
          length > kLargestRks || bytes.size() - at < kHead + length)
        break;
      const unsigned first = LoadLittle<std::uint16_t>(data + 2);
      const unsigned count = LoadLittle<std::uint16_t>(data + length - 2) + 1U - first;
      if (length != kRkEntry + kRkEntry * std::size_t{count}) break;
      at += kHead + length;
      take(Plain::kRks, data, count);
    }
  }
  return at;
}

bool IsOneOf(std::span<const std::uint16_t> ids, std::uint16_t id) {
  return std::ranges::find(ids, id) != ids.end();
}

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

}  // namespace

bool ExcelCells::Next(BiffRecord& record) { return read_ = book_.ReadRecord(record); }

bool ExcelCells::ReadSheet(std::uint64_t position, ReadSpreadSheetData* sink, int columns,
                           int rows) {
  return ReadRecords(
      position, sink, columns, rows, [this](Plain kind, const char* data, unsigned count) {
        const Place place = PlaceAt(data);
        switch (kind) {
          case Plain::kDouble:
            return SetNumber(place, LoadLittle<std::uint16_t>(data + 4),
                             std::bit_cast<double>(LoadLittle<std::uint64_t>(data + 6)));
          case Plain::kText:
            return SetShared(place, LoadLittle<std::uint32_t>(data + 6));
          case Plain::kRks:
            return SetRks(place, data + 4, count);
        }
      });
}

void ExcelCells::Measure(std::uint64_t position, SheetExtent& extent) {
  ReadRecords(position, &extent, 0, 0, [&](Plain, const char* data, unsigned count) {
    const auto place = LoadLittle<std::uint32_t>(data);
    extent.Extend(static_cast<int>((place >> 16) + count), static_cast<int>((place & 0xFFFF) + 1));
  });
}

// Reads a sheet whose `take` takes plain cells.
template <typename TakeCells>
bool ExcelCells::ReadRecords(std::uint64_t position, ReadSpreadSheetData* sink, int columns,
                             int rows, TakeCells take) {
  sink_ = sink;
  takes_exact_ = sink != nullptr && sink->TakesExact();
  columns_ = columns + 1;
  rows_ = rows + 1;
  formats_.reset();
  if (book_.is_sheet_alone || book_.version < kBiff5Version) {
    formats_ = std::make_unique<ExcelFormats>();
    book_.xfs.clear();
    current_xf_ = 0;
  }
  book_.stream->Seek(position);
  if (!GoToFirstRow()) return read_;
  BiffRecord record;
  do {
    while (PassPlain(take),
           Next(record) && record.id != BiffRecord::kEof && record.low_id() != kBof)
      Take(record);
  } while (read_ && record.id != BiffRecord::kEof && record.U16(2) == kChart &&
           !book_.rules.next_bof_ends_sheet && PassSubstream());
  return read_;
}

// Takes what is ahead as far as it is plain: in BIFF2 to BIFF4 records have other ids, and by the
// kept rule columns other places.
template <typename TakeCells>
void ExcelCells::PassPlain(const TakeCells& take) {
  if (book_.version >= kBiff5Version && !book_.rules.columns_by_low_byte)
    book_.stream->PassAhead([&](std::span<const char> bytes) { return TakePlain(bytes, take); });
}

// Goes behind a substream whose BOF has been read.
bool ExcelCells::PassSubstream() {
  BiffRecord record;
  for (int depth = 1; depth > 0 && Next(record);) {
    if (IsOneOf(kBofs, record.id)) ++depth;
    if (record.id == BiffRecord::kEof) --depth;
  }
  return read_;
}

// False when the sheet ends before its cells begin.
bool ExcelCells::GoToFirstRow() {
  BiffRecord record;
  if (!book_.rules.skip_cells_before_first_row) {
    if (!Next(record) || record.id == BiffRecord::kEof) return false;
    if (record.low_id() != kBof) Take(record);
    return true;
  }
  const Changed changed = changed_;
  CountingSink counting;
  ReadSpreadSheetData* const sink = std::exchange(sink_, &counting);
  bool is_row = false;
  while (!is_row && Next(record) && record.id != BiffRecord::kEof) {
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
      if (record.id == kRkRecord)
        SetNumber(PlaceOf(record), record.U16(4),
                  ExcelFile::NumFromRk(record.Field<std::int32_t>(6)));
      return;
    case kNumber:
      if (record.id == kNumberRecord && book_.version > 2)
        SetNumber(PlaceOf(record), record.U16(4), record.F64(6));
      else if (IsTaken(record.id))
        TakeNumber(record);
      return;
    case kLabelSst:
      if (record.id == kLabelSst && book_.version >= 8) SetShared(PlaceOf(record), record.U32(6));
      return;
    case kMulRk:
      if (record.id == kMulRk && book_.version >= 5) TakeMulRk(record);
      return;
    case kFormula:
      if (IsFormula(record.id)) TakeFormula(record);
      return;
    default:
      TakeOther(record);
      return;
  }
}

// The records that are less frequent, apart so that the others stay fast.
void ExcelCells::TakeOther(BiffRecord& record) {
  switch (record.low_id()) {
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
      if (formats_) TakeOwnGlobal(record);
      return;
  }
}

// What a workbook has in its globals a worksheet that stands alone has before its cells.
void ExcelCells::TakeOwnGlobal(const BiffRecord& record) {
  if (record.id == BiffRecord::kCodePage) book_.TakeCodePage(record);
  if (record.id == BiffRecord::kDateMode) book_.since_1904 = record.U16(0) == 1;
  if (record.id == kIxfe) current_xf_ = record.U16(0);
  if (IsOneOf(kFormats, record.id)) formats_->TakeFormat(record, book_.version, book_.is_biff8);
  if (!IsOneOf(kXfs, record.id)) return;
  formats_->TakeXf(record);
  book_.xfs.push_back(
      formats_->Xf(formats_->xf_count() - 1, book_.rules.dates_by_lower_case_letters));
}

unsigned ExcelCells::FarColumn(unsigned column) {
  if (!book_.rules.columns_by_low_byte) return column;
  ++changed_.wrapped;
  return column & kLastByte;
}

// Kept: the records of BIFF2 have ids of their own, which are not taken, and of BIFF3 none is.
bool ExcelCells::IsTaken(std::uint16_t id) {
  if (id >> 8 == 0) {
    left_out_.biff2 += book_.rules.ignore_biff2_cells ? 1 : 0;
    return !book_.rules.ignore_biff2_cells;
  }
  if (book_.version == 2 && id >> 8 == 2) {
    left_out_.biff3 += book_.rules.ignore_biff3_cells ? 1 : 0;
    return !book_.rules.ignore_biff3_cells;
  }
  return id >> 8 == 2;
}

bool ExcelCells::IsFormula(std::uint16_t id) {
  return id == (book_.version == 4 ? 0x0406 : 0x0006) || IsOtherFormula(id);
}

bool ExcelCells::IsOtherFormula(std::uint16_t id) {
  if (book_.version == 2 && id == 0x0206) return IsTaken(id);
  if (!IsOneOf(kFormulas, id)) return false;
  left_out_.formulas += book_.rules.formula_id_by_version ? 1 : 0;
  return !book_.rules.formula_id_by_version;
}

// Whether a record has the head of BIFF2. Kept: all have in a file of BIFF2, and none elsewhere.
inline bool ExcelCells::HasLongHead(std::uint16_t id) const {
  if (id >> 8 != 0 && !book_.is_biff2) return false;
  return book_.rules.ignore_biff2_cells ? book_.is_biff2 : id >> 8 == 0;
}

void ExcelCells::TakeNumber(const BiffRecord& record) {
  const bool has_long_head = HasLongHead(record.id);
  SetNumberOf(record, record.F64(has_long_head ? 7 : 6), has_long_head);
}

// Kept: of BIFF3, which has no such record, it is taken; of BIFF2, which has, it is not.
void ExcelCells::TakeInteger(const BiffRecord& record) {
  if (record.id != kInteger || (book_.version != 2 && !IsTaken(record.id))) return;
  if (!book_.rules.ignore_biff2_cells) return SetNumberOf(record, record.U16(7), true);
  const Place place = PlaceOf(record);
  sink_->Set(place.column, place.row, static_cast<double>(record.Field<std::int16_t>(7)));
}

// Hands on a text as it lies in the record; the byte behind it serves as its NUL meanwhile.
inline void ExcelCells::SetText(Place place, BiffRecord& record, std::size_t at, std::size_t size) {
  struct Terminated {
    char* end;
    char before;
    ~Terminated() { *end = before; }
  };
  const std::string_view text = record.Text(at, size);
  if (!book_.rules.texts_as_stored && SetConverted(place, text)) return;
  char* const begin = record.data + (text.data() - record.data);
  const Terminated terminated{begin + text.size(), std::exchange(begin[text.size()], '\0')};
  sink_->Set(place.column, place.row, begin);
}

void ExcelCells::TakeLabel(BiffRecord& record) {
  const Place place = PlaceOf(record);
  if (record.low_id() == kLabel && HasLongHead(record.id))
    return SetText(place, record, 8, record.U8(7));
  if (book_.is_biff8 && !book_.rules.labels_without_option_byte) return SetString(place, record, 6);
  if (book_.is_biff8 && record.U16(6) > 0) ++changed_.labels;
  SetText(place, record, 8, record.U16(6));
}

void ExcelCells::TakeBoolErr(const BiffRecord& record) {
  const Place place = PlaceOf(record);
  if (book_.rules.booleans_as_empty_text) {
    ++changed_.boolerrs;
    return sink_->Set(place.column, place.row, "");
  }
  const std::size_t at = HasLongHead(record.id) ? 7 : 6;
  if (record.U8(at + 1) != 0)
    sink_->Set(place.column, place.row, "");
  else
    sink_->Set(place.column, place.row, static_cast<double>(record.U8(at)));
}

void ExcelCells::TakeFormula(const BiffRecord& record) {
  const bool has_long_head = book_.is_biff2 && record.id == 0x0006;
  const std::size_t at = has_long_head ? 7 : 6;
  if (record.U16(at + 6) != 0xFFFF) return SetNumberOf(record, record.F64(at), has_long_head);
  const Place place = PlaceOf(record);
  enum Type : std::uint8_t { kText = 0, kBoolean = 1, kError = 2, kNoText = 3 };
  switch (record.U8(at)) {
    case kText:
      return TakeFormulaText(place);
    case kBoolean:
      sink_->Set(place.column, place.row, static_cast<double>(record.Field<std::int8_t>(at + 2)));
      return;
    case kError:
      return SetEmpty(place, book_.rules.ignore_formula_errors, left_out_.formula_errors);
    case kNoText:
      return SetEmpty(place, book_.rules.ignore_empty_formula_texts, left_out_.empty_texts);
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
  const bool is_array = IsOneOf(kArrays, record.id);
  if (record.id == kSharedFormula || (is_array && !book_.rules.string_only_after_shrfmla)) {
    position = book_.stream->Tell();
    if (!Next(record)) return;
  }
  if (record.low_id() != kString) {
    book_.stream->Seek(position);
    if (is_array && book_.rules.string_only_after_shrfmla)
      ++left_out_.array_texts;
    else
      SetEmpty(place, book_.rules.ignore_empty_formula_texts, left_out_.empty_texts);
    return;
  }
  if (book_.is_biff8) return SetString(place, record, 0);
  if (book_.is_biff2) return SetText(place, record, 1, record.U8(0));
  SetText(place, record, 2, record.U16(0));
}

void ExcelCells::SetEmpty(Place place, bool is_left_out, std::uint64_t& left_out) {
  if (is_left_out)
    ++left_out;
  else
    sink_->Set(place.column, place.row, "");
}

void ExcelCells::TakeMulRk(const BiffRecord& record) {
  const Place first = PlaceOf(record);
  // Entries that run into the last column's number are none.
  const int held = (record.length - 6) / static_cast<int>(kRkEntry);
  const int last = record.U16(static_cast<std::size_t>(std::max<int>(record.length, 2)) - 2);
  const int count = std::min(last - (first.column - columns_) + 1, held);
  if (count > 0) SetRks(first, record.data + 4, static_cast<unsigned>(count));
}

// Sets cells of a row from their XFs and RKs.
void ExcelCells::SetRks(Place place, const char* cells, unsigned count) {
  for (; count > 0; --count, ++place.column, cells += kRkEntry)
    SetNumber(place, LoadLittle<std::uint16_t>(cells),
              ExcelFile::NumFromRk(LoadLittle<std::int32_t>(cells + 2)));
}

inline void ExcelCells::SetShared(Place place, std::uint32_t index) {
  if (index >= book_.strings.first_damaged())
    ++changed_.shared_strings;
  else if (index >= book_.strings.whole())
    ++changed_.lost_strings;
  sink_->Set(place.column, place.row, book_.strings.At(index));
}

inline void ExcelCells::SetPlain(Place place, double value) {
  if (takes_exact_)
    sink_->SetExact(place.column, place.row, value);
  else
    sink_->Set(place.column, place.row, value);
}

void ExcelCells::SetNumber(Place place, std::uint16_t xf, double value) {
  if (xf < book_.xfs.size() && !book_.xfs[xf].is_plain_number())
    return SetDate(place, book_.xfs[xf], value);
  SetPlain(place, value);
}

// Sets a number whose record may have the head of BIFF2.
void ExcelCells::SetNumberOf(const BiffRecord& record, double value, bool has_long_head) {
  constexpr unsigned kSixBits = 0x3F;
  const Place place = PlaceOf(record);
  if (!has_long_head) return SetNumber(place, record.U16(4), value);
  if (formats_ && formats_->xf_count() == 0)
    return SetDate(place, formats_->OfFormat(record.U8(5) & kSixBits), value);
  const std::uint8_t xf = record.U8(4) & kSixBits;
  SetNumber(place, static_cast<std::uint16_t>(xf == kSixBits ? current_xf_ : xf), value);
}

void ExcelCells::SetDate(Place place, ExcelXf xf, double value) {
  const bool is_taken = xf.form != DateForm::kNone;
  const bool is_too_early = formats_ != nullptr && book_.rules.dates_from_biff5_on;
  if (!is_taken || is_too_early) {
    if (is_taken != xf.is_mistaken) ++changed_.dates_as_numbers;
    return SetPlain(place, value);
  }
  if (xf.is_mistaken) ++changed_.numbers_as_dates;
  DateText text;
  IEEEDate_2_string(value, book_.since_1904, text, xf.form);
  sink_->Set(place.column, place.row, text.data());
}

// Hands on a text as UTF-8; false when it is so already.
bool ExcelCells::SetConverted(Place place, std::string_view text) {
  if (IsAscii(text)) return false;
  text_.clear();
  AppendFromCodePage(text_, text, book_.code_page);
  sink_->Set(place.column, place.row, text_.c_str());
  return true;
}

void ExcelCells::SetString(Place place, BiffRecord& record, std::size_t at) {
  if (book_.rules.continued_strings_keep_option_byte)
    ReadExcelString(record, at, text_, !book_.rules.texts_as_stored);
  else
    ReadContinuedExcelString(*book_.stream, book_.longest_record(), record, at, text_,
                             !book_.rules.texts_as_stored);
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
      {left_out_.formulas, "formula has the record of another version and was not delivered",
       "formulas have the record of another version and were not delivered"},
      {left_out_.formula_errors, "formula results in an error and was not delivered",
       "formulas result in an error and were not delivered"},
      {left_out_.empty_texts, "formula results in an empty text and was not delivered",
       "formulas result in an empty text and were not delivered"},
      {left_out_.array_texts, "text of an array formula was not delivered",
       "texts of array formulas were not delivered"},
      {changed_.shared_strings,
       "text stands behind a shared string that goes on in another record and may be damaged",
       "texts stand behind a shared string that goes on in another record and may be damaged"},
      {changed_.lost_strings,
       "cell has a shared string that the SST record does not hold whole, and was delivered empty "
       "or cut",
       "cells have shared strings that the SST record does not hold whole, and were delivered "
       "empty or cut"},
      {changed_.numbers_as_dates, "number was taken for a date and delivered as its text",
       "numbers were taken for dates and delivered as their texts"},
      {changed_.dates_as_numbers, "date was taken for a number and delivered as that",
       "dates were taken for numbers and delivered as those"},
      {changed_.wrapped, "cell stands beyond column 256 and was delivered in another column",
       "cells stand beyond column 256 and were delivered in other columns"},
  };
  for (const auto& note : kNotes) Log::WriteCount("ExcelFile", note.cells, note.one, note.several);
}

}  // namespace nvimport
