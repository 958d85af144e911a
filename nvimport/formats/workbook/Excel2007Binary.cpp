// The records of binary parts, each 7 or 14 bits of type, up to 28 bits of length and the body:
//   BrtRowHdr     0 uint32 row
//   cells         0 uint32 column      4 uint24 style, uint8 flags      8 value
//   short cells   their column is the next; 0 uint24 style, uint8 flags  4 value
//   BrtSSTItem    0 uint8 flags        1 string
//   BrtFmt        0 uint16 number      2 string
//   BrtXF         0 uint16 parent      2 uint16 number of the format
//   BrtWbProp     0 uint32 flags
//   BrtWsDim      0 uint32 first row, last row, first column, last column
//   BrtBundleSh   0 uint32 visibility  4 uint32 id  8 string, of the relationship  then the name;
//                 workbooks from before the first release have another 32 bits before the id
// A string is 32 bits of length and as many 16-bit characters; a length of all ones is none.

#include <bit>
#include <cstddef>
#include <span>
#include <utility>

#include "nvimport/formats/CellRangeText.h"
#include "nvimport/formats/workbook/Excel2007Parts.h"
#include "nvimport/formats/workbook/ExcelFile.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

namespace {

enum Type : std::uint32_t {
  kRowHdr = 0,
  kCellBlank = 1,
  kCellRk = 2,
  kCellError = 3,
  kCellBool = 4,
  kCellReal = 5,
  kCellSt = 6,
  kCellIsst = 7,
  kFmlaString = 8,
  kFmlaNum = 9,
  kFmlaBool = 10,
  kFmlaError = 11,
  kShortBlank = 12,
  kShortRk = 13,
  kShortError = 14,
  kShortBool = 15,
  kShortReal = 16,
  kShortSt = 17,
  kShortIsst = 18,
  kSstItem = 19,
  kFmt = 44,
  kXf = 47,
  kCellRString = 62,
  kBeginSheetData = 145,
  kEndSheetData = 146,
  kEndBundleShs = 144,
  kWsDim = 148,
  kWbProp = 153,
  kBundleSh = 156,
  kBeginCellXfs = 617,
  kEndCellXfs = 618
};

// The records of the part that a package has open.
class Records {
 public:
  explicit Records(ZipPackage& package) : package_(package) {}

  // Goes to the next record; false at the end of the part, and where it breaks off.
  bool Next() {
    package_.Skip(length_);
    constexpr std::size_t kLongestHead = 6;
    const std::span<const char> head = package_.Ahead(kLongestHead);
    std::size_t used = 0;
    const auto next = [&] {
      return used < head.size() ? static_cast<unsigned char>(head[used++]) : std::uint32_t{0};
    };
    length_ = 0;
    if (head.empty()) return false;
    type_ = next();
    if ((type_ & 0x80) != 0) type_ = (type_ & 0x7F) | (next() & 0x7F) << 7;
    for (unsigned shift = 0; shift < 28; shift += 7) {
      const std::uint32_t byte = next();
      length_ |= (byte & 0x7F) << shift;
      if ((byte & 0x80) == 0) break;
    }
    package_.Skip(used);
    return true;
  }

  // Behind the last record, what lies ahead: as much as there is at once.
  std::span<const char> Ahead(std::size_t least) {
    package_.Skip(std::exchange(length_, 0));
    return package_.Ahead(least);
  }
  void Skip(std::size_t count) { package_.Skip(count); }

  std::uint32_t type() const { return type_; }

  // Its body, of which what is longer than any record that counts is left out.
  ByteReader Body() {
    const std::span<const char> body = package_.Ahead(length_);
    is_cut_ = is_cut_ || body.size() < std::min<std::size_t>(length_, ZipPackage::kMostAhead);
    return ByteReader(body.first(std::min<std::size_t>(length_, body.size())));
  }

  // Goes to the end of the part. False when it is damaged.
  bool PassRest() { return package_.PassRest() && !is_cut_; }

 private:
  ZipPackage& package_;
  std::uint32_t type_ = 0;
  std::uint32_t length_ = 0;
  bool is_cut_ = false;
};

// Takes a string; a damaged one fails the reader.
void TakeString(ByteReader& body, std::string& text) {
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  text.clear();
  const std::uint32_t length = body.U32();
  if (length != kNone) AppendUtf16(text, body.Text(std::size_t{length} * 2));
}

// Takes the two strings that a BrtBundleSh ends with. False when they don't end it.
bool TakeNames(ByteReader& body, std::size_t at, std::string& relationship, std::string& name) {
  body.Skip(at);
  TakeString(body, relationship);
  TakeString(body, name);
  return body.ok() && body.remaining() == 0;
}

class Sheet {
 public:
  Sheet(ZipPackage& package, Excel2007Cells& cells) : records_(package), cells_(cells) {}

  bool Read() {
    bool is_in_data = false;
    while (records_.Next()) {
      const std::uint32_t type = records_.type();
      if (type == kBeginSheetData) is_in_data = true;
      if (type == kEndSheetData && is_in_data) return records_.PassRest();
      if (!is_in_data || (type > kShortIsst && type != kCellRString)) continue;
      ByteReader body = records_.Body();
      if (!Take(type, body) || !body.ok() || !TakePlain()) return false;
    }
    return false;
  }

 private:
  // Takes the cells ahead as far as they hold numbers and shared strings and nothing else. False of
  // one that has no place.
  bool TakePlain() {
    constexpr std::size_t kLongest = 18;
    constexpr unsigned kShort = 12;  // of bytes behind the type and this length
    constexpr unsigned kLong = 16;
    const std::span<const char> ahead = records_.Ahead(kLongest);
    const char* at = ahead.data();
    for (const char* const end = at + ahead.size(); end - at >= std::ptrdiff_t{kLongest};) {
      const auto type = static_cast<unsigned char>(at[0]);
      const auto length = static_cast<unsigned char>(at[1]);
      if (!(type == kCellReal ? length == kLong
                              : (type == kCellRk || type == kCellIsst) && length == kShort))
        break;
      column_ = LoadLittle<std::uint32_t>(at + 2);
      if (!cells_.GoTo(column_, row_)) return false;
      if (!cells_.TakesExtentOnly()) {
        const std::uint32_t style = LoadLittle<std::uint32_t>(at + 6) & 0xFFFFFF;
        if (type == kCellIsst)
          cells_.SetShared(LoadLittle<std::uint32_t>(at + 10));
        else if (type == kCellRk)
          cells_.SetNumber(style, ExcelFile::NumFromRk(LoadLittle<std::int32_t>(at + 10)));
        else
          cells_.SetNumber(style, std::bit_cast<double>(LoadLittle<std::uint64_t>(at + 10)));
      }
      at += 2 + length;
    }
    records_.Skip(static_cast<std::size_t>(at - ahead.data()));
    return true;
  }

  bool Take(std::uint32_t type, ByteReader& body) {
    if (type == kRowHdr) {
      row_ = body.U32();
      column_ = ~std::uint32_t{0};
      return true;
    }
    const bool is_short = type >= kShortBlank && type <= kShortIsst;
    column_ = is_short ? column_ + 1 : body.U32();
    const std::uint32_t style = body.U32() & 0xFFFFFF;
    if (!cells_.GoTo(column_, row_)) return false;
    if (type == kCellBlank || type == kShortBlank) return true;
    if (cells_.TakesExtentOnly()) return true;
    TakeValue(is_short ? type - (kShortBlank - kCellBlank) : type, style, body);
    return true;
  }

  void TakeValue(std::uint32_t type, std::uint32_t style, ByteReader& body) {
    switch (type) {
      case kCellRk:
        cells_.SetNumber(style, ExcelFile::NumFromRk(body.I32()));
        break;
      case kCellReal:
      case kFmlaNum:
        cells_.SetNumber(style, body.F64());
        break;
      case kCellIsst:
        cells_.SetShared(body.U32());
        break;
      case kCellBool:
      case kFmlaBool:
        cells_.SetBoolean(body.U8() != 0);
        break;
      case kCellError:
      case kFmlaError:
        cells_.SetError();
        break;
      case kCellRString:
        body.Skip(1);
        [[fallthrough]];
      default:
        TakeString(body, text_);
        cells_.SetText(text_.c_str());
    }
  }

  Records records_;
  Excel2007Cells& cells_;
  std::uint32_t row_ = 0;
  std::uint32_t column_ = ~std::uint32_t{0};
  std::string text_;
};

}  // namespace

bool BinaryParts::ReadWorkbook(ZipPackage& package, WorkbookPart& workbook) {
  Records records(package);
  std::string relationship;
  std::string name;
  while (true) {
    // Sheets may be missing where the list has no end.
    if (!records.Next()) return false;
    if (records.type() == kEndBundleShs) return records.PassRest();
    if (records.type() != kWbProp && records.type() != kBundleSh) continue;
    ByteReader body = records.Body();
    const std::uint32_t first = body.U32();
    if (records.type() == kWbProp) {
      workbook.since_1904 = (first & 1) != 0;
      continue;
    }
    ByteReader early = body;
    if (!TakeNames(body, 4, relationship, name) && !TakeNames(early, 8, relationship, name))
      return false;
    using SheetState = WorkbookPart::SheetState;
    const SheetState state = first == 0   ? SheetState::kVisible
                             : first == 2 ? SheetState::kVeryHidden
                                          : SheetState::kHidden;
    if (!workbook.TakeSheet(name, relationship, state, package.budget())) return false;
  }
}

bool BinaryParts::ReadStyles(ZipPackage& package, StyleTable& styles) {
  Records records(package);
  bool is_of_cells = false;
  std::string text;
  while (records.Next()) {
    if (records.type() == kEndCellXfs) return records.PassRest();
    if (records.type() == kBeginCellXfs) is_of_cells = true;
    if (records.type() == kFmt) {
      ByteReader body = records.Body();
      const std::uint16_t number = body.U16();
      TakeString(body, text);
      if (body.ok() && !styles.TakeFormat(number, text, package.budget())) return false;
    }
    if (records.type() == kXf && is_of_cells) {
      ByteReader body = records.Body();
      body.Skip(2);
      if (!styles.TakeStyle(body.U16(), package.budget())) return false;
    }
  }
  return !is_of_cells && records.PassRest();
}

bool BinaryParts::ReadStrings(ZipPackage& package, SpooledStrings& strings) {
  Records records(package);
  std::string text;
  while (records.Next()) {
    if (records.type() != kSstItem) continue;
    ByteReader body = records.Body();
    body.Skip(1);
    TakeString(body, text);
    if (!body.ok() || !strings.Add(text)) return false;
  }
  return records.PassRest();
}

bool BinaryParts::ReadSheet(ZipPackage& package, Excel2007Cells& cells) {
  return Sheet(package, cells).Read();
}

bool BinaryParts::ReadRange(ZipPackage& package, std::string& range) {
  Records records(package);
  while (records.Next() && records.type() != kBeginSheetData) {
    if (records.type() != kWsDim) continue;
    ByteReader body = records.Body();
    const std::uint32_t first_row = body.U32();
    const std::uint32_t last_row = body.U32();
    const std::uint32_t first_column = body.U32();
    const std::uint32_t last_column = body.U32();
    if (!body.ok()) return false;
    range = CellRangeText(first_column, first_row, last_column, last_row);
    return true;
  }
  return true;
}

}  // namespace nvimport
