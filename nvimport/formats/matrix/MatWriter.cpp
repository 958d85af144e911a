#include "nvimport/formats/matrix/MatWriter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <optional>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/OutputFile.h"
#include "nvimport/platform/TemporaryFile.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

constexpr const char* kSource = "MatFile";
constexpr std::uint64_t kMostBytes = 0x7FFFFFFF;  // of a variable
constexpr std::size_t kLongestName = 63;
constexpr std::size_t kBlock = 32 * 1024;  // that is packed together
constexpr std::uint32_t kInt8 = 1;
constexpr std::uint32_t kInt32 = 5;
constexpr std::uint32_t kUInt32 = 6;
constexpr std::uint32_t kDoubles = 9;
constexpr std::uint32_t kArray = 14;
constexpr std::uint32_t kCompressed = 15;
constexpr std::uint32_t kUtf16 = 17;
constexpr std::uint32_t kCellClass = 1;
constexpr std::uint32_t kStructClass = 2;
constexpr std::uint32_t kCharClass = 4;
constexpr std::uint32_t kDoubleClass = 6;

template <typename Number>
std::string Bytes(Number number) {
  std::string bytes;
  for (unsigned shift = 0; shift < 8 * sizeof number; shift += 8)
    bytes += static_cast<char>(number >> shift);
  return bytes;
}

// With its tag and padding.
std::uint64_t ElementSize(std::uint64_t bytes) {
  return bytes > 0 && bytes <= 4 ? 8 : 8 + (bytes + 7) / 8 * 8;
}

// Of an array of two sizes, before its data.
std::uint64_t HeadSize(std::string_view name) { return 16 + 16 + ElementSize(name.size()); }

// UTF-8 as 16-bit units; what is none counts as Windows-1252.
std::u16string Units(std::string_view text) {
  std::u16string units;
  if (!IsUtf8(text)) {
    for (const char c : text) units += static_cast<char16_t>(FromWindows1252(c));
    return units;
  }
  while (!text.empty()) {
    const char32_t c = TakeCharacter(text);
    if (c >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    } else {
      units += static_cast<char16_t>(c);
    }
  }
  return units;
}

// What a cell is to a matrix. A text that reads as a number is one, but for those that are rather
// names, like 007.
enum class Kind : std::uint8_t { kNothing, kNumber, kNumberText, kText };

bool IsNumberText(std::string_view text) {
  if (text.size() > 1 && text[0] == '0' && text[1] >= '0' && text[1] <= '9') return false;
  return ParseNumber(text).has_value();
}

std::string_view TextOf(WriteSpreadSheetData& sheet, int column, int row) {
  const char* const text = sheet.GetText(column, row);
  return text != nullptr ? text : "";
}

double NumberOf(WriteSpreadSheetData& sheet, int column, int row) {
  const auto exact = sheet.GetExact(column, row);
  return exact ? *exact : sheet.GetNumber(column, row);
}

// Of a cell of a matrix.
double ValueOf(WriteSpreadSheetData& sheet, int column, int row) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  if (sheet.IsNumber(column, row)) return NumberOf(sheet, column, row);
  if (!sheet.IsText(column, row)) return kNone;
  return ParseNumber(TextOf(sheet, column, row)).value_or(kNone);
}

Kind KindOf(WriteSpreadSheetData& sheet, int column, int row) {
  if (sheet.IsNumber(column, row))
    return std::isnan(NumberOf(sheet, column, row)) ? Kind::kNothing : Kind::kNumber;
  if (!sheet.IsText(column, row)) return Kind::kNothing;
  const std::string_view text = TextOf(sheet, column, row);
  return text.empty() ? Kind::kNothing : IsNumberText(text) ? Kind::kNumberText : Kind::kText;
}

// Numbers that rise or fall, behind the first column.
bool IsAxis(WriteSpreadSheetData& sheet, int columns, int row) {
  constexpr int kFewest = 4;  // columns
  if (columns < kFewest) return false;
  double before = 0;
  bool rises = false;
  for (int column = 2; column <= columns; ++column) {
    const Kind kind = KindOf(sheet, column, row);
    if (kind != Kind::kNumber && kind != Kind::kNumberText) return false;
    const double x = ValueOf(sheet, column, row);
    if (column == 3) rises = x > before;
    if (column > 2 && (rises ? !(x > before) : !(x < before))) return false;
    before = x;
  }
  return true;
}

// A cell of a list of texts.
std::u16string CellUnits(WriteSpreadSheetData& sheet, int column, int row) {
  if (sheet.IsText(column, row)) return Units(TextOf(sheet, column, row));
  if (!sheet.IsNumber(column, row)) return {};
  if (sheet.KeepsTextOf(column, row)) return Units(TextOf(sheet, column, row));
  FloatText buffer;
  return Units(FormatDouble(NumberOf(sheet, column, row), buffer));
}

bool IsKeyword(std::string_view name) {
  constexpr std::string_view kKeywords[] = {
      "break",      "case",   "catch",    "classdef", "continue", "else",      "elseif",
      "end",        "for",    "function", "global",   "if",       "otherwise", "parfor",
      "persistent", "return", "spmd",     "switch",   "try",      "while"};
  return std::ranges::find(kKeywords, name) != std::end(kKeywords);
}

// What MATLAB takes for a name.
std::string ValidName(std::string_view text) {
  const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  std::string name;
  for (const char c : text) {
    const bool is_valid = is_letter(c) || (c >= '0' && c <= '9');
    if (is_valid)
      name += c;
    else if (!name.empty() && name.back() != '_')
      name += '_';
  }
  while (!name.empty() && name.back() == '_') name.pop_back();
  if (name.empty() || !is_letter(name[0]) || IsKeyword(name)) name.insert(0, "x");
  name.resize(std::min(name.size(), kLongestName));
  return name;
}

// Adds to the name what keeps it apart from those taken: "name", "name_2"...
std::string UniqueAmong(MatNames& taken, const std::string& name) {
  constexpr std::size_t kLongestNumber = 11;
  const std::string base = name.substr(0, kLongestName - kLongestNumber - 1);
  return taken.Add(name, base, [&](int number) { return base + "_" + std::to_string(number); });
}

}  // namespace

MatWriter::MatWriter(OutputFile& out, bool packs)
    : out_(out), packs_(packs && Inflater::IsBuilt()) {}

MatWriter::~MatWriter() = default;

// A first row of texts names columns where what is below them is of another kind, or where nothing
// stands above the names of the rows. One with numbers does so if it is an axis, or if what stands
// before them can't belong to a row of values.
void MatWriter::LookAt(WriteSpreadSheetData& sheet) {
  columns_ = sheet.GetNumberOfColumns();
  rows_ = sheet.GetNumberOfRows();
  struct Seen {
    Kind head = Kind::kNothing;
    bool numbers = false;
    bool number_texts = false;
    bool texts = false;
    bool gaps = false;

    bool IsData() const { return !texts && (numbers || number_texts); }
  };
  std::vector<Seen> all(static_cast<std::size_t>(columns_));
  bool is_named = false;
  bool has_numbers = false;
  for (int column = 1; column <= columns_; ++column) {
    Seen& seen = all[static_cast<std::size_t>(column - 1)];
    if (rows_ > 0) seen.head = KindOf(sheet, column, 1);
    for (int row = 2; row <= rows_; ++row) {
      const Kind kind = KindOf(sheet, column, row);
      seen.numbers = seen.numbers || kind == Kind::kNumber;
      seen.number_texts = seen.number_texts || kind == Kind::kNumberText;
      seen.texts = seen.texts || kind == Kind::kText;
      seen.gaps = seen.gaps || kind == Kind::kNothing;
    }
    has_numbers = has_numbers || seen.head == Kind::kNumber;
    is_named = is_named || (seen.IsData() && (seen.head == Kind::kText ||
                                              (seen.head == Kind::kNumberText && seen.numbers)));
  }
  if (columns_ > 0 && rows_ > 1) {
    const Seen& first = all.front();
    const bool names_rows = first.texts && first.head == Kind::kNothing;
    const bool is_heading = first.IsData() && first.head == Kind::kText;
    has_header_ =
        (!has_numbers && (is_named || names_rows)) || is_heading ||
        (names_rows && !first.gaps && !first.numbers) ||
        (first.head == Kind::kText && IsAxis(sheet, columns_, 1) && !IsAxis(sheet, columns_, 2));
  }
  for (int column = 1; column <= columns_; ++column) {
    const Seen& seen = all[static_cast<std::size_t>(column - 1)];
    if (!seen.texts && (has_header_ || seen.head != Kind::kText)) data_.push_back(column);
  }
}

void MatWriter::NameLists(WriteSpreadSheetData& sheet) {
  const int first = has_header_ ? 2 : 1;
  const int count = rows_ - first + 1;
  for (const char* const name : {"data", "varNames", "obsNames", "description"})
    UniqueAmong(names_, name);
  if (has_header_ && !data_.empty())
    lists_.push_back({"varNames", data_, 1, static_cast<int>(data_.size()), true});
  for (int column = 1; column <= columns_; ++column) {
    if (std::ranges::binary_search(data_, column)) continue;
    std::string name = "obsNames";
    const std::string_view given = has_header_ ? TextOf(sheet, column, 1) : "";
    if (column > 1 || data_.empty()) {
      const std::string wanted = given.empty() ? "text" + std::to_string(column) : ValidName(given);
      name = UniqueAmong(names_, wanted);
    }
    if (!given.empty() && name != given)
      renamed_.push_back("\"" + std::string(given) + "\" as " + name);
    lists_.push_back({name, {column}, first, count, false});
  }
}

MatWriter::Outcome MatWriter::Write(WriteSpreadSheetData& sheet, const Statements& statements) {
  LookAt(sheet);
  NameLists(sheet);
  std::vector<std::uint64_t> sizes;
  for (const List& list : lists_) sizes.push_back(SizeOf(sheet, list));
  if (SizeOfData() > kMostBytes ||
      std::ranges::any_of(sizes, [](std::uint64_t size) { return size > kMostBytes; }))
    return Outcome::kTooLarge;
  std::string text = "MATLAB 5.0 MAT-file, written by NvImport";
  text.resize(116, ' ');
  out_.Write(text + std::string(8, ' ') + Bytes(std::uint16_t{0x0100}) + "IM");
  if (!data_.empty()) WriteData(sheet);
  for (std::size_t i = 0; i < lists_.size(); ++i) WriteList(sheet, lists_[i], sizes[i]);
  if (!statements.empty()) WriteStruct(statements);
  out_.Flush();
  NoteChanges();
  return cannot_pack_ ? Outcome::kCannotPack : Outcome::kGood;
}

void MatWriter::NoteChanges() const {
  if (!renamed_.empty()) {
    std::string names;
    for (const std::string& name : renamed_) names += (names.empty() ? "" : ", ") + name;
    Log::WriteNote(kSource, "written under names that MATLAB takes: " + names);
  }
  Log::WriteCount(kSource, inexact_, "whole number is beyond what a double holds and lost digits",
                  "whole numbers are beyond what a double holds and lost digits");
}

std::uint64_t MatWriter::SizeOfData() const {
  const auto rows = static_cast<std::uint64_t>(has_header_ ? rows_ - 1 : rows_);
  return HeadSize("data") + ElementSize(sizeof(double) * rows * data_.size());
}

std::uint64_t MatWriter::SizeOfText(std::u16string_view text) {
  return ElementSize(HeadSize("") + ElementSize(2 * text.size()));
}

std::uint64_t MatWriter::SizeOf(WriteSpreadSheetData& sheet, const List& list) {
  std::uint64_t size = HeadSize(list.name);
  for (int i = 0; i < list.count && size <= kMostBytes; ++i)
    size +=
        SizeOfText(CellUnits(sheet, list.columns[list.lies_along ? static_cast<std::size_t>(i) : 0],
                             list.lies_along ? list.row : list.row + i));
  return size;
}

void MatWriter::WriteData(WriteSpreadSheetData& sheet) {
  const int first = has_header_ ? 2 : 1;
  const auto rows = static_cast<std::uint64_t>(rows_) + 1 - static_cast<std::uint64_t>(first);
  BeginVariable(SizeOfData());
  PutHead(kDoubleClass, rows, data_.size(), "data");
  Put(Bytes(kDoubles) + Bytes(static_cast<std::uint32_t>(sizeof(double) * rows * data_.size())));
  std::array<char, sizeof(double)> bytes;
  for (const int column : data_) {
    for (int row = first; row <= rows_; ++row) {
      const double value = ValueOf(sheet, column, row);
      constexpr double kExact = 9007199254740992;
      if (std::fabs(value) >= kExact &&
          (sheet.IsText(column, row) || sheet.KeepsTextOf(column, row)) &&
          WholeBeyondDouble(TextOf(sheet, column, row)))
        ++inexact_;
      const auto bits = std::bit_cast<std::uint64_t>(value);
      for (unsigned i = 0; i < sizeof bits; ++i) bytes[i] = static_cast<char>(bits >> (8 * i));
      Put({bytes.data(), bytes.size()});
    }
  }
  EndVariable();
}

void MatWriter::WriteList(WriteSpreadSheetData& sheet, const List& list, std::uint64_t size) {
  const auto count = static_cast<std::uint64_t>(list.count);
  BeginVariable(size);
  PutHead(kCellClass, list.lies_along ? 1 : count, list.lies_along ? count : 1, list.name);
  for (int i = 0; i < list.count; ++i)
    WriteText(CellUnits(sheet, list.columns[list.lies_along ? static_cast<std::size_t>(i) : 0],
                        list.lies_along ? list.row : list.row + i));
  EndVariable();
}

void MatWriter::WriteText(std::u16string_view text) {
  Put(Bytes(kArray) + Bytes(static_cast<std::uint32_t>(SizeOfText(text) - 8)));
  PutHead(kCharClass, text.empty() ? 0 : 1, text.size(), "");
  std::string bytes;
  for (const char16_t unit : text) bytes += Bytes(static_cast<std::uint16_t>(unit));
  PutElement(kUtf16, bytes);
}

void MatWriter::WriteStruct(const Statements& statements) {
  constexpr std::size_t kField = kLongestName + 1;
  MatNames taken;
  std::string fields;
  std::vector<std::u16string> values;
  std::uint64_t size = HeadSize("description") + 8;
  for (const auto& [label, value] : statements) {
    std::string field = UniqueAmong(taken, ValidName(label));
    field.resize(kField);
    fields += field;
    values.push_back(Units(value));
    size += SizeOfText(values.back());
  }
  size += ElementSize(fields.size());
  BeginVariable(size);
  PutHead(kStructClass, 1, 1, "description");
  PutElement(kInt32, Bytes(static_cast<std::uint32_t>(kField)));
  PutElement(kInt8, fields);
  for (const std::u16string& value : values) WriteText(value);
  EndVariable();
}

void MatWriter::BeginVariable(std::uint64_t size) {
  if (packs_) {
    deflater_ = std::make_unique<Deflater>();
    packed_ = std::make_unique<TemporaryFile>();
    packed_size_ = 0;
  }
  Put(Bytes(kArray) + Bytes(static_cast<std::uint32_t>(size)));
}

// Its size is known only when all is packed.
void MatWriter::EndVariable() {
  if (!packs_) return;
  Pack(/*are_last=*/true);
  out_.Write(Bytes(kCompressed) + Bytes(static_cast<std::uint32_t>(packed_size_)));
  std::array<char, kBlock> block;
  for (std::uint64_t done = 0; done < packed_size_ && !cannot_pack_;) {
    const auto some = std::span(block).first(
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), packed_size_ - done)));
    cannot_pack_ = !packed_->Read(done, some);
    out_.Write({some.data(), some.size()});
    done += some.size();
  }
  deflater_.reset();
  packed_.reset();
}

void MatWriter::PutHead(std::uint32_t kind, std::uint64_t rows, std::uint64_t columns,
                        std::string_view name) {
  PutElement(kUInt32, Bytes(kind) + Bytes(std::uint32_t{0}));
  PutElement(kInt32,
             Bytes(static_cast<std::uint32_t>(rows)) + Bytes(static_cast<std::uint32_t>(columns)));
  PutElement(kInt8, name);
}

void MatWriter::PutElement(std::uint32_t type, std::string_view data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  if (size > 0 && size <= 4) {
    std::string few = Bytes(size << 16 | type);
    few.append(data).resize(8);
    return Put(few);
  }
  Put(Bytes(type) + Bytes(size));
  Put(data);
  Put(std::string((8 - size % 8) % 8, '\0'));
}

void MatWriter::Put(std::string_view bytes) {
  if (!packs_) return out_.Write(bytes);
  unpacked_ += bytes;
  if (unpacked_.size() >= kBlock) Pack(/*are_last=*/false);
}

void MatWriter::Pack(bool are_last) {
  std::array<char, kBlock> block;
  std::span<const char> rest(unpacked_.data(), unpacked_.size());
  for (std::size_t count = block.size(); count == block.size();) {
    count = deflater_->Deflate(rest, are_last, block);
    cannot_pack_ = cannot_pack_ || !packed_->Write(std::span(block).first(count));
    packed_size_ += count;
  }
  unpacked_.clear();
}

}  // namespace nvimport
