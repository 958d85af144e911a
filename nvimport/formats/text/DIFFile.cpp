// Data Interchange Format: a header of topics, each a line with its name, a line "vector,value" and
// a line with a string, ended by the topic DATA; then pairs of lines, "type,value" and a string:
//   -1 BOT begins a row, EOD ends the data   0 a number, the string its indicator   1 a text,
//   quoted

#include "nvimport/formats/text/DIFFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <istream>
#include <memory>
#include <ostream>

#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/ByteScan.h"
#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/NvFile.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

enum Status : int { kNoStream = 768, kBadHeader = 769, kBadRecord = 770, kUnicode = 771 };
constexpr StatusText kTexts[] = {
    {kNoStream, "Failed to open stream for reading."},
    {kBadHeader, "An error was found in the DIF header."},
    {kBadRecord, "An error was found in a DIF record."},
    {kUnicode, "UNICODE DIF files cannot be read."},
};
static_assert(WellFormed(kTexts, 768, 771));

constexpr const char* kSource = "DIFFile";
constexpr std::size_t kLongestLine = 2023;
constexpr std::size_t kLongestTitle = 49;
constexpr std::size_t kBlock = 256 * 1024;
constexpr std::size_t kMarkSize = 3;
constexpr int kOemPage = 437;
// A header entry is three lines, a record two.
constexpr std::size_t kLongestEntry = 3 * (kLongestLine + 1);

bool IsQuoted(std::string_view text) {
  return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

// Where all quotes are doubled: leaves one of each two. The size that remains.
std::size_t HalveQuotes(char* text, std::size_t size) {
  const std::string_view all(text, size);
  const std::size_t first = all.find('"');
  for (std::size_t at = first; at < size; at = all.find('"', at + 2))
    if (at + 1 == size || text[at + 1] != '"') return size;
  std::size_t used = std::min(first, size);
  for (std::size_t i = used; i < size; ++i) {
    text[used++] = text[i];
    if (text[i] == '"') ++i;
  }
  return used;
}

// The whole number that `text` begins with, 0 without one.
int LenientInt(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  int number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string_view FirstWord(std::string_view text) {
  constexpr std::string_view kWhite = " \t\r\v\f";
  text.remove_prefix(std::min(text.find_first_not_of(kWhite), text.size()));
  return text.substr(0, text.find_first_of(kWhite));
}

}  // namespace

DIFFile::~DIFFile() = default;

void DIFFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void DIFFile::Forget() {
  input_.Close();
  output_.Close();
  input_stream_ = nullptr;
  output_stream_ = nullptr;
  has_mark_ = false;
  mode_ = Mode::kNone;
  size_established_ = false;
}

void DIFFile::Close() {
  Forget();
  SpreadsheetFile::Close();
}

int DIFFile::Open(bool read, const char* path, NvImportOpenOptions*) {
  if (status_ != kGood) return status_;
  Forget();
  if (path == nullptr) path = "";
  if (!read) {
    mode_ = Mode::kWriting;
    file_title_ = FileName(path);
    output_ = OutputFile(path);
    return output_.is_open() ? kGood : Fail(kNoStream);
  }
  mode_ = Mode::kReading;
  const ETextFileEncoding encoding = NvFile::GetEncoding(path);
  has_mark_ = encoding == ETextFileEncoding::kUtf8;
  const bool is_readable =
      encoding == ETextFileEncoding::kSingleByte || (has_mark_ && !rules_.single_byte_texts);
  if (!is_readable) return Fail(kUnicode);
  input_ = InputFile(path);
  return input_.is_open() ? ReadHeader() : Fail(kNoStream);
}

int DIFFile::Open(std::istream& stream, const char* title) {
  Forget();
  mode_ = Mode::kReading;
  input_stream_ = &stream;
  file_title_ = title != nullptr ? title : "";
  return status_;
}

int DIFFile::Open(std::ostream& stream, const char* title) {
  Forget();
  mode_ = Mode::kWriting;
  output_stream_ = &stream;
  file_title_ = title != nullptr ? title : "";
  return status_;
}

bool DIFFile::Rewind() {
  begin_ = end_ = 0;
  at_end_ = false;
  if (input_stream_ == nullptr) return input_.Seek(has_mark_ ? kMarkSize : 0);
  input_stream_->clear();
  return static_cast<bool>(input_stream_->seekg(0));
}

void DIFFile::Prepare() {
  if (!at_end_ && end_ - begin_ < kLongestEntry) Fill(kBlock);
}

void DIFFile::Fill(std::size_t capacity) {
  if (end_ > 0) std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  buffer_.resize(capacity + 1);
  const std::span<char> room(buffer_.data() + end_, capacity - end_);
  std::ptrdiff_t got = 0;
  if (input_stream_ != nullptr) {
    input_stream_->read(room.data(), std::ssize(room));
    got = static_cast<std::ptrdiff_t>(input_stream_->gcount());
  } else {
    got = input_.Read(room);
  }
  at_end_ = got < std::ssize(room);
  if (got > 0) end_ += static_cast<std::size_t>(got);
}

// Where the first two line feeds stand, when both are within the next bytes.
inline DIFFile::Breaks DIFFile::FindBreaks() const {
  constexpr std::size_t kWindow = 32;
  if (end_ - begin_ < kWindow) return {};
  const std::uint32_t feeds = FindIn32(buffer_.data() + begin_, '\n');
  const std::uint32_t further_feeds = feeds & (feeds - 1);
  if (further_feeds == 0) return {};
  return {static_cast<std::size_t>(std::countr_zero(feeds)),
          static_cast<std::size_t>(std::countr_zero(further_feeds))};
}

DIFFile::Entry DIFFile::GetLongEntry() {
  Prepare();
  const std::size_t begin = begin_;
  Entry entry;
  const bool is_there = (GetLine(entry.type) && GetLine(entry.text)) ||
                        GetLongEntry(begin, std::array{&entry.type, &entry.text});
  return is_there ? entry : Entry();
}

// Ends a line of `size` bytes behind which its break stands.
inline DIFFile::Line DIFFile::EndLine(char* text, std::size_t size) {
  if (size > 0 && text[size - 1] == '\r') --size;
  text[size] = '\0';
  return {text, size};
}

bool DIFFile::GetLine(Line& line) {
  line.text = buffer_.data() + begin_;
  const std::size_t rest = end_ - begin_;
  const std::size_t longest = rules_.short_lines_only ? kLongestLine : rest;
  const std::size_t window = std::min(rest, longest + 1);
  if (window == 0) return false;
  if (const void* feed = std::memchr(line.text, '\n', window)) {
    const auto size = static_cast<std::size_t>(static_cast<const char*>(feed) - line.text);
    begin_ += size + 1;
    line = EndLine(line.text, size);
    return true;
  }
  // The last line may go without its break.
  if (rest > longest || !(at_end_ || rules_.short_lines_only)) return false;
  line.size = rest;
  line.text[line.size] = '\0';
  begin_ = end_;
  return true;
}

bool DIFFile::GetLongEntry(std::size_t begin, std::span<Line* const> lines) {
  while (!at_end_ && !rules_.short_lines_only) {
    // The breaks that the lines before the last had.
    for (std::size_t i = 1; i < lines.size() && lines[i]->text != nullptr; ++i) {
      char* const end = lines[i - 1]->text + lines[i - 1]->size;
      *end = lines[i]->text == end + 1 ? '\n' : '\r';
    }
    begin_ = begin;
    Fill(2 * std::max(end_ - begin_, kBlock));
    begin = 0;
    for (Line* const line : lines) *line = {};
    if (std::ranges::all_of(lines, [&](Line* line) { return GetLine(*line); })) return true;
  }
  return false;
}

bool DIFFile::GetRestOfText(Line& text) {
  char* const break_ = text.text + text.size;
  const char* const behind = buffer_.data() + begin_;
  if (break_ != behind) *break_ = break_ + 1 == behind ? '\n' : '\r';
  begin_ = static_cast<std::size_t>(text.text - buffer_.data());
  std::size_t line = 0;
  while (true) {
    const std::string_view rest(buffer_.data() + begin_, end_ - begin_);
    std::size_t end = rest.find('\n', line);
    if (end == std::string_view::npos && !at_end_) {
      Fill(2 * std::max(rest.size(), kBlock));
      continue;
    }
    end = std::min(end, rest.size());
    text = {buffer_.data() + begin_, end};
    if (end > 0 && rest[end - 1] == '\r') --text.size;
    if (IsQuoted(text.view())) {
      begin_ += std::min(end + 1, rest.size());
      return true;
    }
    if (end == rest.size()) return false;
    line = end + 1;
  }
}

int DIFFile::ReadDIFHeaderEntry(Line& text) {
  Prepare();
  Line topic;
  Line numbers;
  const std::size_t begin = begin_;
  text = {};
  if ((!(GetLine(topic) && GetLine(numbers) && GetLine(text)) &&
       !GetLongEntry(begin, std::array{&topic, &numbers, &text})) ||
      numbers.view().find(',') == std::string_view::npos) {
    Fail(kBadHeader);
    return kError;
  }
  if (IsQuoted(text.view())) {
    ++text.text;
    text.size -= 2;
  }
  static constexpr std::string_view kTopics[] = {"TABLE", "VECTORS", "TUPLES", "DATA"};
  const std::string_view word = FirstWord(topic.view());
  for (int kind = kTable; kind <= kData; ++kind)
    if (EqualIgnoringCase(word, kTopics[kind - kTable])) return kind;
  return kOtherTopic;
}

int DIFFile::ReadHeader() {
  if (!Rewind()) return Fail(kBadHeader);
  while (true) {
    Line text;
    const int kind = ReadDIFHeaderEntry(text);
    if (kind == kError) return status_;
    if (kind == kTable) title_ = text.view().substr(0, kLongestTitle);
    if (kind == kData) return kGood;
  }
}

inline void DIFFile::TakeQuoted(Line& text, Line& value) const {
  value = {text.text + 1, text.size - 2};
  if (!rules_.quotes_as_they_stand) value.size = HalveQuotes(value.text, value.size);
  value.text[value.size] = '\0';
}

inline int DIFFile::ReadDIFRecord(Line& value) {
  const auto [first, second] = FindBreaks();
  if (second == 0) return ReadEntry(GetLongEntry(), value);
  char* const type = buffer_.data() + begin_;
  char* const text = type + first + 1;
  begin_ += second + 1;
  // Most are numbers, "0,1.5" and "V".
  constexpr std::size_t kPrefix = 2;
  if (type[0] == '0' && type[1] == ',' && text[0] == 'V' &&
      second - first == (text[1] == '\r' ? 3U : 2U)) {
    value = EndLine(type + kPrefix, first - kPrefix);
    return kNumber;
  }
  return ReadEntry({EndLine(type, first), EndLine(text, second - first - 1)}, value);
}

int DIFFile::ReadEntry(const Entry& entry, Line& value) {
  auto [type, text] = entry;
  if (type.text == nullptr) {
    Fail(kBadRecord);
    return kError;
  }
  // One digit and the comma, nearly always.
  std::size_t comma = 1;
  int number = type.size > 1 && type.text[1] == ',' ? type.text[0] - '0' : -1;
  if (number < 0 || number > 9) {
    comma = type.view().find(',');
    if (comma == std::string_view::npos) {
      Fail(kBadRecord);
      return kError;
    }
    number = LenientInt({type.text, comma});
  }
  value = {type.text + comma + 1, type.size - comma - 1};
  switch (number) {
    case -1:
      if (value.view() != "0") return kSkipped;
      if (text.view() == "BOT") return kBeginning;
      return text.view() == "EOD" ? kEnd : kSkipped;
    case 0:
      if (text.size == 1 && *text.text == 'V') return kNumber;
      return TakeNumber(text.view(), value);
    case 1:
      if (!IsQuoted(text.view())) return TakeOddText(text, value);
      TakeQuoted(text, value);
      return kText;
    default:
      return kSkipped;
  }
}

// A text whose line is not quoted.
int DIFFile::TakeOddText(Line& text, Line& value) {
  const bool is_open = text.size > 0 && *text.text == '"';
  if (is_open && !rules_.texts_on_one_line && GetRestOfText(text)) {
    TakeQuoted(text, value);
    return kText;
  }
  value = text;
  if (!is_open && !rules_.texts_need_quotes) return kText;
  Fail(kBadRecord);
  return kError;
}

int DIFFile::TakeNumber(std::string_view indicator, Line& value) {
  const auto become = [&](std::string_view text) {
    // There is room: the indicator's line follows.
    value.size = text.copy(value.text, text.size());
    value.text[value.size] = '\0';
  };
  become("");
  // Kept: lower case only, though other writers say TRUE and FALSE.
  const bool is_true = EqualIgnoringCase(indicator, "true");
  if (is_true || EqualIgnoringCase(indicator, "false")) {
    if (indicator.front() == 't' || indicator.front() == 'f' || !rules_.only_lower_case_truth)
      become(is_true ? "1" : "0");
    else
      ++changed_.truths;
  }
  return indicator == "ERROR" || indicator == "NA" ? kNoValue : kNumber;
}

int DIFFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  if (ReadHeader() != kGood) return status_;
  std::uint64_t rows = 0;
  std::uint64_t cells = 0;
  std::uint64_t columns = 0;
  Line value;
  while (true) {
    switch (ReadDIFRecord(value)) {
      case kBeginning:
        ++rows;
        cells = 0;
        break;
      case kText:
      case kNumber:
        if (rows > 0) columns = std::max(columns, ++cells);
        break;
      case kNoValue:
        // Kept: ERROR and NA are not counted here, though they are delivered.
        if (rows > 0 && !rules_.errors_not_counted) columns = std::max(columns, ++cells);
        break;
      case kEnd:
        return SetSize(columns, rows);
      case kError:
        num_cols_ = num_rows_ = 0;
        return status_;
      default:
        break;
    }
  }
}

int DIFFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  if (ReadHeader() != kGood) return status_;
  changed_ = {};
  sink->GetNextIndex(0);
  int row = 0;
  int wanted = 0;
  int cell = 0;
  int widest = 0;
  Line value;
  int kind = kSkipped;
  while (kind != kEnd && kind != kError) {
    kind = ReadDIFRecord(value);
    if (kind == kBeginning) {
      wanted = sink->GetNextIndex(row);
      if (row > 0) widest = std::max(widest, cell);
      ++row;
      cell = 0;
    } else if (kind == kText || kind == kNumber || kind == kNoValue) {
      ++cell;
      if (row != wanted || row < 1) continue;
      if (kind == kNumber)
        sink->Set(cell, row, value.text);
      else if (kind == kText)
        sink->Set(cell, row, ConvertFromFile(value.text, value.size, changed_));
      else if (rules_.errors_as_empty_texts) {
        ++changed_.errors;
        sink->Set(cell, row, "");
      }
    }
  }
  if (!rules_.last_row_as_size) cell = row > 0 ? std::max(widest, cell) : 0;
  sink->SetDataSize(cell, row);
  Log::WriteCount(kSource, changed_.truths, "cell with the indicator TRUE or FALSE arrives empty",
                  "cells with the indicators TRUE and FALSE arrive empty");
  Log::WriteCount(kSource, changed_.errors,
                  "missing cell with the indicator ERROR or NA arrives as an empty text",
                  "missing cells with the indicators ERROR and NA arrive as empty texts");
  Log::WriteCount(kSource, changed_.utf8_texts,
                  "text is in UTF-8 and was taken for one in the code page",
                  "texts are in UTF-8 and were taken for such in the code page");
  Log::WriteCount(kSource, changed_.characters, "character is not in Windows-1252 and became ?",
                  "characters are not in Windows-1252 and became ?");
  return status_;
}

int DIFFile::Write(WriteSpreadSheetData* source) {
  if (mode_ != Mode::kWriting) return Fail(kWrongMode);
  if (status_ != kGood) return status_;
  const int columns = source->GetNumberOfColumns();
  const int rows = source->GetNumberOfRows();
  Lossy lossy;
  WriteRecord("TABLE\n0,1\n\"" + file_title_ + "\"\nVECTORS\n0," + std::to_string(columns) +
                  "\n\"\"\nTUPLES\n0," + std::to_string(rows) + "\n\"\"\nDATA\n0,0\n\"\"\n",
              lossy);
  for (int row = 1; row <= rows; ++row) {
    WriteRecord("-1,0\nBOT\n", lossy);
    for (int column = 1; column <= columns; ++column) WriteCell(*source, column, row, lossy);
  }
  WriteRecord("-1,0\nEOD\n", lossy);
  output_.Flush();
  Log::WriteCount(kSource, lossy.breaks, "text with a line break does not read back as it was",
                  "texts with line breaks do not read back as they were");
  Log::WriteCount(kSource, lossy.characters, "character is not in the code page and became ?",
                  "characters are not in the code page and became ?");
  Log::WriteCount(kSource, lossy.long_lines, "text is longer than a line that can be read",
                  "texts are longer than a line that can be read");
  return kGood;
}

void DIFFile::WriteCell(WriteSpreadSheetData& source, int column, int row, Lossy& lossy) {
  const auto text_of = [&] {
    const char* text = source.GetText(column, row);
    return std::string(text != nullptr ? text : "");
  };
  if (source.IsNumber(column, row)) {
    FloatText number;
    const char* const end =
        FormatGeneral(static_cast<double>(source.GetNumber(column, row)), number);
    std::string text(static_cast<const char*>(number.data()), end);
    // Kept: a number with an exponent is left to the source.
    if (text.find('e') != std::string::npos) text = text_of();
    WriteRecord("0," + text + "\nV\n", lossy);
  } else if (source.IsText(column, row)) {
    std::string text = text_of();
    lossy.breaks += text.find_first_of("\r\n") != std::string::npos ? 1 : 0;
    WriteRecord("1,0\n\"" + CellText(std::move(text)) + "\"\n", lossy);
  } else {
    WriteRecord("1,0\n\"\"\n", lossy);
  }
}

void DIFFile::WriteRecord(std::string record, Lossy& lossy) {
  record = ConvertToFile(std::move(record), lossy);
  constexpr std::string_view kTextRecord = "1,0\n";
  if (record.starts_with(kTextRecord) && record.size() > kTextRecord.size() + kLongestLine + 1)
    ++lossy.long_lines;
  if (output_stream_ != nullptr)
    output_stream_->write(record.data(), std::ssize(record));
  else
    output_.Write(record);
}

const char* DIFFile::ConvertFromFile(char* text, std::size_t, Changed&) { return text; }

std::string DIFFile::ConvertToFile(std::string record, Lossy&) const { return record; }

std::string DIFFile::CellText(std::string text) const {
  std::erase(text, '\r');
  std::ranges::replace(text, '\n', ' ');
  return text;
}

const char* DIFFileOEM::ConvertFromFile(char* text, std::size_t count, Changed& changed) {
  const std::string_view stored(text, count);
  if (IsAscii(stored)) return text;
  const bool is_utf8 = IsUtf8(stored);
  if (rules().single_byte_texts) {
    const std::size_t lost = OemToAnsi(text, count);
    changed.utf8_texts += is_utf8 ? 1 : 0;
    changed.characters += is_utf8 ? 0 : lost;
    return text;
  }
  if (is_utf8) return text;
  converted_.clear();
  AppendFromCodePage(converted_, stored, kOemPage);
  return converted_.c_str();
}

std::string DIFFileOEM::ConvertToFile(std::string record, Lossy& lossy) const {
  return ToOem(record, lossy.characters);
}

// Kept: line breaks stay, unlike in the other class.
std::string DIFFileOEM::CellText(std::string text) const { return text; }

DiffFileOEMFactory::DiffFileOEMFactory(const DIFRules& rules)
    : SprFileFactory({.name = "DIF File(OEM)",
                      .read_filter = "DIF Files(OEM) (*.dif)",
                      .write_filter = "DIF Files(OEM) (*.dif)",
                      .extensions = {".dif"},
                      .can_write = true,
                      .flag5 = true}),
      rules_(rules) {}

int DiffFileOEMFactory::IsCorrectFileType(const char* path) {
  return NvFile::GetEncoding(path) != ETextFileEncoding::kSingleByte ||
                 EqualIgnoringCase(NvGetFileExtension(path), "dif")
             ? kPlausible
             : kNotThis;
}

SpreadsheetFile* DiffFileOEMFactory::Create() {
  return std::make_unique<DIFFileOEM>(rules_).release();
}

}  // namespace nvimport
