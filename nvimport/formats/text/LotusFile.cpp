// Lotus 1-2-3 release 1A to 2.2 and Symphony worksheets (see "Lotus Worksheet File Format", 1984,
// and "Lotus File Formats for 1-2-3, Symphony and Jazz", 1986): records of a 16-bit type, a 16-bit
// length and that many bytes, little-endian, the first of them BOF with the version. Cells begin
// with a format byte, a 16-bit column and a 16-bit row, both from 0:
//   13 INTEGER int16   14 NUMBER double   15 LABEL a prefix character, then the text with its NUL
//   16 FORMULA double, the value, then the formula
//   51 STRING the text that it results in, with NUL
//   6 RANGE int16 first column, first row, last column, last row   1 EOF
//   7 WINDOW1 4 the format byte of cells that have none of their own
// A format byte has the cell's protection in its top bit, then three bits of a kind and four of a
// number. Kind 7: 2 to 4, 9 and 10 show days since the end of 1899, with a 29 February 1900, 7, 8,
// 11 and 12 the time of day, 15 what the window says.

#include "nvimport/formats/text/LotusFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <span>

#include "nvimport/formats/CellRangeText.h"
#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

enum Status : int {
  kNoFile = 2304,
  kNotThisFormat = 2305,
  kWk3 = 2306,
  kWk4 = 2307,
  kWj1 = 2308,
  kFrm = 2309,
  kWorkbook = 2310,
  kOtherVersion = 2311,
  kNoRange = 2312,
  kNoEnd = 2313,
  kReadFailed = 2314,
  kCorrupt = 2315
};

#define SUPPORTED                         \
  "Lotus 1-2-3 version 1.A (WKS)\r\n"     \
  "Lotus 1-2-3 version 2.0-2.2 (WK1)\r\n" \
  "Symphony file 1.0/1.01 (WRK) and\r\n"  \
  "Symphony file 1.1/1.2/2.0 (WR1)."

constexpr StatusText kTexts[] = {
    {kNoFile, "Unable to open file."},
    {kNotThisFormat, "The file does not seem to be a valid Lotus 1-2-3 file."},
    {kWk3,
     "The file is a Lotus version 3.0 (WK3) file.  However, Olvan does only support the following "
     "Lotus formats:\r\n\r\n" SUPPORTED},
    {kWk4,
     "The file is a Lotus version 4.0 (WK4) file. However, Olvan does only support the following "
     "Lotus formats:\r\n\r\n" SUPPORTED},
    {kWj1,
     "The file is a Lotus 1-2-3/J (WJ1) file. However, Olvan does only support the following Lotus "
     "formats:\r\n\r\n" SUPPORTED},
    {kFrm, "This file is a Lotus 1-2-3 (FRM) file. Such files cannot be imported by Olvan."},
    {kWorkbook,
     "The file seems to be a Lotus Workbook (123) file.  However, Olvan does only support the "
     "following Lotus formats:\r\n\r\n" SUPPORTED},
    {kOtherVersion,
     "unrecognized Lotus 1-2-3 version format. Olvan supports the following Lotus "
     "formats:\r\n\r\n" SUPPORTED},
    {kNoRange,
     "An error occurred while trying to establish size size of the dataset. The file seems to be "
     "corrupt and cannot be imported."},
    {kNoEnd,
     "Found unexpected EOF (End-Of-File) while reading for data. The file seems to be corrupt and "
     "cannot be imported."},
    {kReadFailed, "Read() failed. The file seems to be corrupt and cannot be imported."},
    {kCorrupt, "A corrupt data record was found. The file cannot be imported."},
};
static_assert(WellFormed(kTexts, 2304, 2315));

enum RecordType : int {
  kBof = 0,
  kEof = 1,
  kRange = 6,
  kWindow1 = 7,
  kInteger = 13,
  kNumber = 14,
  kLabel = 15,
  kFormula = 16,
  kString = 51
};
constexpr int kLastType = 256;  // that the formats of these versions have
// Whose files have this number in their BOF.
constexpr std::pair<int, const char*> kVersions[] = {
    {0x0404, "Lotus 1-2-3 release 1A (WKS)"},
    {0x0405, "Symphony 1.0 (WRK)"},
    {0x0406, "Lotus 1-2-3 release 2 (WK1) or Symphony 1.1 to 2.0 (WR1)"}};
constexpr std::size_t kRecordHeaderSize = 4;
// In a cell's record.
constexpr std::size_t kColumn = 1;
constexpr std::size_t kRow = 3;
constexpr std::size_t kValue = 5;
constexpr std::size_t kLabelText = 6;
// In the record of a window.
constexpr std::size_t kWindowFormat = 4;
// The bytes of a number's record, no more and no less.
constexpr std::size_t kWholeNumber = kRecordHeaderSize + kValue + sizeof(double);

// What each format byte shows.
using DateForms = std::array<DateForm, 256>;

// Gives `take_number` and `take_other` the cells that lie next, which most records are: the data of
// whole numbers that show no dates, and with their length those of whole integers and labels with a
// NUL at their end. Ends where there is another, and returns their bytes.
template <typename TakeNumber, typename TakeOther>
std::size_t TakeCells(std::span<const char> bytes, const DateForms& forms,
                      const TakeNumber& take_number, const TakeOther& take_other) {
  constexpr auto head_of = [](RecordType type, std::uint32_t length) {
    return static_cast<std::uint32_t>(type) | length << 16;
  };
  constexpr auto kHeader = head_of(kNumber, kWholeNumber - kRecordHeaderSize);
  constexpr int kBehindFormat = 64 - 8 * (kRecordHeaderSize + 1);  // bits of a word
  const char* at = bytes.data();
  const char* const end = at + bytes.size();
  if (bytes.size() < kWholeNumber) return 0;
  const char* const last = end - kWholeNumber;
  std::uint64_t number = ~std::uint64_t{0};  // how the last number began, up to its format
  while (at <= last) {
    const char* const data = at + kRecordHeaderSize;
    const auto begin = LoadLittle<std::uint64_t>(at);
    if (begin << kBehindFormat == number) {
      take_number(data);
      at += kWholeNumber;
      continue;
    }
    const auto head = static_cast<std::uint32_t>(begin);
    if (head == kHeader) {
      if (forms[static_cast<unsigned char>(*data)] != DateForm::kNone) break;
      number = begin << kBehindFormat;
      continue;
    }
    const std::size_t length = head >> 16;
    const bool is_whole =
        head == head_of(kInteger, kValue + sizeof(std::int16_t)) ||
        (static_cast<std::uint16_t>(head) == kLabel && length > kLabelText && length <= SHRT_MAX &&
         static_cast<std::size_t>(end - data) >= length && data[length - 1] == '\0');
    if (!is_whole) break;
    take_other(static_cast<int>(head & 0xFFFF), std::span(data, length));
    at += kRecordHeaderSize + length;
  }
  return static_cast<std::size_t>(at - bytes.data());
}

// A number at `at` in a record; what lies past its end is zero.
template <typename T>
T Field(std::span<const char> record, std::size_t at) {
  if (at + sizeof(T) <= record.size()) return LoadLittle<T>(record.data() + at);
  char bytes[sizeof(T)] = {};
  if (at < record.size()) std::memcpy(bytes, record.data() + at, record.size() - at);
  return LoadLittle<T>(bytes);
}

constexpr unsigned kProtected = 0x80;
constexpr unsigned kNoFormat = 0x7F;

DateForm FormOfByte(unsigned format) {
  switch (format & ~kProtected) {
    case 0x72:
    case 0x73:
    case 0x74:
    case 0x79:
    case 0x7A:
      return DateForm::kDays;
    case 0x77:
    case 0x78:
    case 0x7B:
    case 0x7C:
      return DateForm::kTime;
    default:
      return DateForm::kNone;
  }
}

// Kept: true for these four, none of which is an ordinary number, and for nothing else.
bool IsValidDouble(double value) {
  constexpr std::uint64_t kPatterns[] = {0xfff8000000000000, 0x7ff0000000000000, 0xfff0000000000000,
                                         0xfaffffffffffffff};
  return std::ranges::find(kPatterns, std::bit_cast<std::uint64_t>(value)) != std::end(kPatterns);
}

}  // namespace

LotusFile::LotusFile(const LotusRules& rules)
    : rules_(rules),
      last_type_(rules.new_records_end_read ? kLastType : SHRT_MAX),
      reader_(std::make_unique<BlockReader>()) {}

LotusFile::LotusFile(const LotusFile& other)
    : SpreadsheetFile(other),
      rules_(other.rules_),
      last_type_(other.last_type_),
      path_(other.path_),
      reader_(std::make_unique<BlockReader>()),
      shift_(other.shift_),
      leaves_size_open_(other.leaves_size_open_),
      stated_rows_(other.stated_rows_) {
  if (other.input_.is_open()) input_ = InputFile(path_.c_str());
}

LotusFile& LotusFile::operator=(const LotusFile& other) {
  if (this == &other) return *this;
  SpreadsheetFile::operator=(other);
  rules_ = other.rules_;
  last_type_ = other.last_type_;
  path_ = other.path_;
  shift_ = other.shift_;
  leaves_size_open_ = other.leaves_size_open_;
  stated_rows_ = other.stated_rows_;
  input_ = other.input_.is_open() ? InputFile(path_.c_str()) : InputFile();
  return *this;
}

LotusFile::~LotusFile() = default;

void LotusFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void LotusFile::Close() {
  input_.Close();
  size_established_ = leaves_size_open_ = false;
  SpreadsheetFile::Close();
}

int LotusFile::Open(bool read, const char* path, NvImportOpenOptions*) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  path_ = path != nullptr ? path : "";
  size_established_ = false;
  input_ = InputFile(path_.c_str());
  return input_.is_open() ? IsLotusFile() : Fail(kNoFile);
}

int LotusFile::IsLotusFile() {
  char bytes[6];
  if (input_.Read(bytes) != std::ssize(bytes)) return Fail(kNotThisFormat);
  constexpr std::uint32_t kShortBof = 0x00020000;
  constexpr std::uint32_t kLongBof = 0x001a0000;
  const auto bof = LoadLittle<std::uint32_t>(bytes);
  const auto version = LoadLittle<std::uint16_t>(bytes + 4);
  if (bof == kShortBof) return version >= 0x0404 && version <= 0x0406 ? kGood : Fail(kOtherVersion);
  if (bof != kLongBof) return Fail(kNotThisFormat);
  static constexpr std::pair<int, int> kRefused[] = {
      {0x1000, kWk3}, {0x1002, kWk4}, {0x0600, kWj1}, {0x8007, kFrm}, {0x1003, kWorkbook}};
  for (const auto& [refused, status] : kRefused)
    if (version == refused) return Fail(status);
  return Fail(kOtherVersion);
}

inline bool LotusFile::IsCorrupt(const Record& record) const {
  return record.length < 0 || record.type > last_type_;
}

// Takes what a record begins with; false at the end of the file.
bool LotusFile::ReadHead(Record& record) {
  const auto bytes = reader_->Ahead(kRecordHeaderSize);
  if (bytes.size() < kRecordHeaderSize) return false;
  record.type = LoadLittle<std::int16_t>(bytes.data());
  record.length = LoadLittle<std::int16_t>(bytes.data() + 2);
  reader_->Skip(kRecordHeaderSize);
  return true;
}

// Takes its data, whole; false when they are not there.
bool LotusFile::ReadData(Record& record) {
  const auto size = static_cast<std::size_t>(record.length);
  const auto bytes = reader_->Ahead(size);
  if (bytes.size() < size) return false;
  record.data = bytes.data();
  reader_->Skip(size);
  return true;
}

// Goes through records of any type until one has this, of which no more than `needed` bytes count.
bool LotusFile::FindLotusRecord(int type, int needed, Record& record) {
  reader_->Begin(input_, 0);
  while (ReadHead(record) && record.length >= 0) {
    const bool is_found = record.type == type;
    if (is_found) record.length = std::min(record.length, needed);
    if (!ReadData(record)) return false;
    if (is_found) return true;
  }
  return false;
}

// Finds the range that the worksheet states.
bool LotusFile::FindRange(Range& range) {
  constexpr int kRangeSize = 8;
  Record record;
  if (!FindLotusRecord(kRange, kRangeSize, record)) return false;
  const std::span data(record.data, static_cast<std::size_t>(record.length));
  range = {{Field<std::int16_t>(data, 0), Field<std::int16_t>(data, 2)},
           {Field<std::int16_t>(data, 4), Field<std::int16_t>(data, 6)}};
  return true;
}

int LotusFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!input_.is_open()) return Fail(kReadFailed);
  Stating stating(description, kLotusKeys);
  Record record;
  if (FindLotusRecord(kBof, sizeof(std::uint16_t), record)) {
    const std::span data(record.data, static_cast<std::size_t>(record.length));
    const auto version = Field<std::uint16_t>(data, 0);
    for (const auto& [known, name] : kVersions)
      if (version == known) stating.State("BOF", name);
  }
  Range range;
  if (FindRange(range) && !range.IsEmpty() && range.first.column >= 0 && range.first.row >= 0)
    stating.State("RANGE", CellRangeText(static_cast<unsigned>(range.first.column),
                                         static_cast<unsigned>(range.first.row),
                                         static_cast<unsigned>(range.last.column),
                                         static_cast<unsigned>(range.last.row)));
  return kGood;
}

int LotusFile::EstablishSize() { return 1; }

// A small one is gone through as quickly as asked for.
bool LotusFile::LeaveSizeOpen() {
  return leaves_size_open_ =
             !rules_.cells_in_range_only && input_.is_open() && input_.size() > BlockReader::kSize;
}

bool LotusFile::EstablishRange() {
  if (status_ != kGood) return false;
  if (size_established_) return true;
  Range range;
  const bool has_range = FindRange(range);
  if (leaves_size_open_ && has_range && !range.IsEmpty() && range.first.column == 0 &&
      range.first.row == 0) {
    shift_ = {1, 1};
    stated_rows_ = range.last.row + 1;
    return SetSize(static_cast<std::uint64_t>(range.last.column) + 1, kOpenSize) == kGood;
  }
  if (has_range ? !rules_.cells_in_range_only : !rules_.range_needed) MeasureRange(range);
  if (!has_range && range.IsEmpty()) {
    num_cols_ = num_rows_ = -1;
    Fail(kNoRange);
    return false;
  }
  // Kept: the start of the range is not subtracted.
  if (!rules_.range_start_ignored) shift_ = {1 - range.first.column, 1 - range.first.row};
  // A range that ends before it starts holds no data.
  num_cols_ = std::max(range.last.column - range.first.column + 1, 0);
  num_rows_ = std::max(range.last.row - range.first.row + 1, 0);
  size_established_ = true;
  return true;
}

// Extends a range to the cells that there are, and ends it with the last of them. One that says
// nothing begins at the first place.
void LotusFile::MeasureRange(Range& range) {
  if (range.IsEmpty() || range.first.column < 0 || range.first.row < 0) range = Range();
  shift_ = {0, 0};
  Place last{-1, -1};
  reader_->Begin(input_, 0);
  Place first = range.first;
  const auto extend = [&](Place place) {
    if (place.column < 0 || place.row < 0) return;
    first = {std::min(first.column, place.column), std::min(first.row, place.row)};
    last = {std::max(last.column, place.column), std::max(last.row, place.row)};
  };
  const auto extend_to = [&](const char* data) {
    extend({LoadLittle<std::int16_t>(data + kColumn), LoadLittle<std::int16_t>(data + kRow)});
  };
  // The same, but faster, where no cell can come before the first. Rows stand in the upper half.
  const bool begins_at_first = first.column == 0 && first.row == 0;
  std::uint32_t last_row = 0;
  int last_column = -1;
  const auto move_end_to = [&](const char* data) {
    const auto place = LoadLittle<std::uint32_t>(data + kColumn);
    if ((place & 0x80008000) != 0) return;  // a negative one
    last_row = std::max(last_row, place);
    last_column = std::max(last_column, static_cast<int>(place & 0xFFFF));
  };
  const auto pass = [&](const auto& take) {
    reader_->Skip(TakeCells(reader_->Ahead(kWholeNumber), DateForms(), take,
                            [&](int, std::span<const char> data) { take(data.data()); }));
  };
  Record record;
  do {
    if (record.type >= kInteger && record.type <= kFormula) extend(PlaceOf(record));
    begins_at_first ? pass(move_end_to) : pass(extend_to);
  } while (ReadHead(record) && record.type != kEof && !IsCorrupt(record) && ReadData(record));
  if (last_column >= 0) extend({last_column, static_cast<int>(last_row >> 16)});
  range.first = first;
  if (last.column >= 0) range.last = last;
  shift_ = {1, 1};
}

int LotusFile::GetNumCols() { return EstablishRange() ? num_cols_ : -1; }

int LotusFile::GetNumRows() { return EstablishRange() ? num_rows_ : -1; }

int LotusFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (!input_.is_open()) return Fail(kReadFailed);
  if (!EstablishRange()) return status_;
  const bool is_open = num_rows_ == kOpenSize;
  if (!is_open) sink->SetDataSize(num_cols_, num_rows_);
  takes_exact_ = sink->TakesExact();
  LeftOut left_out;
  end_ = rules_.cells_in_range_only ? Place{num_cols_, num_rows_} : Place();
  EstablishForms(kNoFormat);
  reader_->Begin(input_, 0);
  Record record;
  while (true) {
    reader_->Skip(SetCells(reader_->Ahead(kWholeNumber), *sink, left_out));
    const bool has_head = ReadHead(record);
    if (has_head && record.type == kEof) break;
    if (has_head && IsCorrupt(record)) {
      Fail(kCorrupt);
      break;
    }
    if (!has_head || !ReadData(record)) {
      Fail(reader_->failed() ? kReadFailed : kNoEnd);
      break;
    }
    if (record.type == kWindow1)
      EstablishForms(
          Field<char>({record.data, static_cast<std::size_t>(record.length)}, kWindowFormat));
    if (record.type >= kInteger && record.type <= kFormula) SetCell(record, *sink, left_out);
  }
  Log::WriteCount("LotusFile", left_out.formulas, "formula cell arrives empty",
                  "formula cells arrive empty");
  Log::WriteCount("LotusFile", left_out.outside,
                  "cell outside the width or height of the range was not delivered",
                  "cells outside the width or height of the range were not delivered");
  const bool is_empty = end_.column == 0;
  if (is_open && status_ == kGood)
    TakeFinalSize(*sink, is_empty ? num_cols_ : end_.column, is_empty ? stated_rows_ : end_.row);
  return status_;
}

inline bool LotusFile::IsValidPos(Place place) {
  // As unsigned numbers those below 1 are beyond any end.
  const auto is_within = [](int number, int end) {
    return static_cast<unsigned>(number - 1) < static_cast<unsigned>(end);
  };
  return (is_within(place.column, end_.column) && is_within(place.row, end_.row)) ||
         MoveEndTo(place);
}

// The end moves where cells outside the range count as well.
bool LotusFile::MoveEndTo(Place place) {
  if (rules_.cells_in_range_only || place.column < 1 || place.row < 1) return false;
  end_ = {std::max(end_.column, place.column), std::max(end_.row, place.row)};
  return true;
}

inline LotusFile::Place LotusFile::PlaceOf(const Record& record) const {
  const std::span data(record.data, static_cast<std::size_t>(record.length));
  return {Field<std::int16_t>(data, kColumn) + shift_.column,
          Field<std::int16_t>(data, kRow) + shift_.row};
}

// What cells of each format show, where those without one have this.
void LotusFile::EstablishForms(char default_format) {
  if (rules_.dates_as_numbers) return;
  for (unsigned format = 0; format < forms_.size(); ++format) forms_[format] = FormOfByte(format);
  forms_[kNoFormat] = forms_[kNoFormat | kProtected] = FormOf(default_format);
}

inline void LotusFile::SetNumber(Place place, double value, ReadSpreadSheetData& sink) const {
  if (takes_exact_)
    sink.SetExact(place.column, place.row, value);
  else
    sink.Set(place.column, place.row, value);
}

// Sets a number, or the date that its cell shows it as.
void LotusFile::SetValue(Place place, char format, double value, ReadSpreadSheetData& sink) const {
  const DateForm form = FormOf(format);
  if (form == DateForm::kNone || !std::isfinite(value)) return SetNumber(place, value, sink);
  DateText text;
  sink.Set(place.column, place.row, IEEEDate_2_string(value, false, text, form).data());
}

// Sets the cells that lie next but those that may show dates, and returns their bytes.
std::size_t LotusFile::SetCells(std::span<const char> bytes, ReadSpreadSheetData& sink,
                                LeftOut& left_out) {
  const auto set_number = [&](const char* data) {
    const Place place = {LoadLittle<std::int16_t>(data + kColumn) + shift_.column,
                         LoadLittle<std::int16_t>(data + kRow) + shift_.row};
    if (IsValidPos(place))
      SetNumber(place, std::bit_cast<double>(LoadLittle<std::uint64_t>(data + kValue)), sink);
    else
      ++left_out.outside;
  };
  return TakeCells(bytes, forms_, set_number, [&](int type, std::span<const char> data) {
    SetCell({type, static_cast<int>(data.size()), data.data()}, sink, left_out);
  });
}

// Sets the text at `at`.
inline void LotusFile::SetText(std::span<const char> data, std::size_t at, Place place,
                               ReadSpreadSheetData& sink) const {
  const auto rest = data.subspan(std::min(at, data.size()));
  const std::string_view text(rest.data(), rest.size());
  const std::size_t end = text.find('\0');
  const std::string_view stored = text.substr(0, end);
  if (end != text.npos && (rules_.texts_as_stored || IsAscii(stored)))
    sink.Set(place.column, place.row, text.data());
  else
    SetOddText(stored, place, sink);
}

// Sets a text that lacks its NUL, or is to be converted.
void LotusFile::SetOddText(std::string_view stored, Place place, ReadSpreadSheetData& sink) const {
  std::string text;
  if (rules_.texts_as_stored)
    text = stored;
  else
    AppendFromCodePage(text, stored, kOemPage);
  sink.Set(place.column, place.row, text.c_str());
}

void LotusFile::SetFormula(std::span<const char> data, Place place, ReadSpreadSheetData& sink,
                           LeftOut& left_out) {
  const bool is_inside = IsValidPos(place);
  left_out.outside += is_inside ? 0 : 1;
  const auto value = Field<double>(data, kValue);
  if (is_inside && SetFormulaText(place, sink)) return;
  if (is_inside && (IsValidDouble(value) || !rules_.formula_values_left_out)) {
    SetValue(place, Field<char>(data, 0), value, sink);
  } else if (place.column >= 1 && place.row >= 1) {
    // Kept: outside the range as well.
    left_out.formulas += is_inside ? 1 : 0;
    sink.Set(place.column, place.row, "");
  }
}

// Takes the STRING record that may come next.
bool LotusFile::SetFormulaText(Place place, ReadSpreadSheetData& sink) {
  const auto next = reader_->Ahead(kRecordHeaderSize);
  if (rules_.formula_texts_left_out || next.size() < kRecordHeaderSize ||
      LoadLittle<std::int16_t>(next.data()) != kString)
    return false;
  // One that is damaged stays ahead, for whoever reads the records.
  const int length = LoadLittle<std::int16_t>(next.data() + sizeof(std::int16_t));
  if (length < 0) return false;
  const std::size_t whole = kRecordHeaderSize + static_cast<std::size_t>(length);
  Record record;
  if (reader_->Ahead(whole).size() < whole || !ReadHead(record) || !ReadData(record)) return false;
  SetText({record.data, static_cast<std::size_t>(record.length)}, kValue, place, sink);
  return true;
}

void LotusFile::SetCell(const Record& record, ReadSpreadSheetData& sink, LeftOut& left_out) {
  const std::span data(record.data, static_cast<std::size_t>(record.length));
  const Place place = PlaceOf(record);
  if (record.type == kFormula) return SetFormula(data, place, sink, left_out);
  if (!IsValidPos(place)) {
    ++left_out.outside;
    return;
  }
  const auto format = Field<char>(data, 0);
  if (record.type == kInteger && FormOf(format) == DateForm::kNone) {
    sink.Set(place.column, place.row, static_cast<int>(Field<std::int16_t>(data, kValue)));
  } else if (record.type == kInteger) {
    SetValue(place, format, Field<std::int16_t>(data, kValue), sink);
  } else if (record.type == kNumber) {
    SetValue(place, format, Field<double>(data, kValue), sink);
  } else {
    SetText(data, kLabelText, place, sink);
  }
}

LotusFileFactory::LotusFileFactory(const LotusRules& rules)
    : RuledFactory({.name = "Lotus 1-2-3 File",
                    .read_filter = "Lotus 1-2-3 Files (*.wks; *.wk1)",
                    .extensions = {".wks", ".wk1", ".wrk", ".wr1"}},
                   rules) {}

}  // namespace nvimport
