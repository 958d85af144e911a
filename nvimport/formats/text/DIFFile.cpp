#include "nvimport/formats/text/DIFFile.h"

#include <algorithm>
#include <istream>
#include <memory>
#include <ostream>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/text/DIFRecords.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/platform/Budget.h"
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
constexpr std::size_t kMarkSize = 3;

// Of a topic that the format does not fix, its vector and value precede the string.
void StateTopic(const DIFRecords::Topic& topic, const std::string& text, Stating& stating) {
  const std::string value = topic.numbers.substr(topic.numbers.find(',') + 1);
  const bool is_count = value.find_first_not_of("0123456789") == std::string::npos;
  switch (topic.kind) {
    case DIFRecords::kTable:
      if (is_count) stating.StateIfAny("TABLE version", value);
      return stating.StateIfAny("TABLE", text);
    case DIFRecords::kVectors:
      if (is_count) stating.StateIfAny("VECTORS", value);
      return stating.StateIfAny("VECTORS comment", text);
    case DIFRecords::kTuples:
      if (is_count) stating.StateIfAny("TUPLES", value);
      return stating.StateIfAny("TUPLES comment", text);
    case DIFRecords::kData:
      return stating.StateIfAny("DATA comment", text);
    default:
      return stating.State(topic.name, (topic.numbers != "0,0" ? topic.numbers + " " : "") + text);
  }
}

std::string WithDoubledQuotes(std::string_view text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == '"' ? 2 : 1, c);
  return doubled;
}

}  // namespace

DIFFile::DIFFile(const DIFRules& rules) : rules_(rules), pages_(std::make_unique<OemOrAnsi>()) {}

DIFFile::~DIFFile() = default;

void DIFFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

void DIFFile::Forget() {
  input_.Close();
  output_.Close();
  input_stream_ = nullptr;
  output_stream_ = nullptr;
  has_mark_ = leaves_size_open_ = has_looked_ = has_odd_texts_ = has_plain_texts_ = false;
  *pages_ = {};
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

// Begins anew with the input; false when that can't be.
bool DIFFile::BeginRecords() {
  if (input_stream_ != nullptr) input_stream_->clear();
  const bool is_at_begin = input_stream_ != nullptr ? static_cast<bool>(input_stream_->seekg(0))
                                                    : input_.Seek(has_mark_ ? kMarkSize : 0);
  position_ = has_mark_ ? kMarkSize : 0;
  records_ = std::make_unique<DIFRecords>(rules_, [this](std::span<char> into) {
    if (input_stream_ != nullptr)
      return std::ptrdiff_t{input_stream_->read(into.data(), std::ssize(into)).gcount()};
    const std::ptrdiff_t count = input_.Read(into);
    position_ += static_cast<std::uint64_t>(std::max<std::ptrdiff_t>(count, 0));
    return count;
  });
  return is_at_begin;
}

int DIFFile::ReadHeader() {
  return BeginRecords() && records_->ReadHeader(title_) ? kGood : Fail(kBadHeader);
}

inline void DIFFile::LookAt(std::string_view text) {
  if (IsAscii(text)) return;
  has_odd_texts_ = true;
  if (!IsUtf8(text)) pages_->Count(text);
}

// A small one is gone through as quickly as asked for.
bool DIFFile::LeaveSizeOpen() {
  constexpr std::uint64_t kSmall = 256 * 1024;
  return leaves_size_open_ =
             !rules_.single_byte_texts && input_.is_open() && input_.size() > kSmall;
}

int DIFFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  if (ReadHeader() != kGood) return status_;
  std::uint64_t rows = 0;
  std::uint64_t cells = 0;
  std::uint64_t columns = 0;
  const bool looks = !rules_.single_byte_texts && !has_looked_ && !leaves_size_open_;
  DIFRecords::Value value;
  while (true) {
    switch (records_->ReadDIFRecord(value)) {
      case DIFRecords::kBeginning:
        // Another row is as wide as the first one, as a rule.
        if (leaves_size_open_ && columns > 0) return SetSize(columns, kOpenSize);
        ++rows;
        cells = 0;
        break;
      case DIFRecords::kText:
        if (looks) LookAt({value.data(), value.size()});
        [[fallthrough]];
      case DIFRecords::kNumber:
        if (rows > 0) columns = std::max(columns, ++cells);
        break;
      case DIFRecords::kNoValue:
        // Kept: ERROR and NA are not counted here, though they are delivered.
        if (rows > 0 && !rules_.errors_not_counted) columns = std::max(columns, ++cells);
        break;
      case DIFRecords::kEnd:
        has_looked_ = looks || has_looked_;
        has_plain_texts_ = records_->were_texts_plain();
        return SetSize(columns, rows);
      case DIFRecords::kError:
        num_cols_ = num_rows_ = 0;
        return Fail(kBadRecord);
      default:
        break;
    }
  }
}

int DIFFile::page() const { return pages_->page(); }

void DIFFile::LookAtTexts() {
  DIFRecords::Value value;
  for (auto kind = DIFRecords::kSkipped; kind != DIFRecords::kEnd && kind != DIFRecords::kError;) {
    kind = records_->ReadDIFRecord(value);
    if (kind == DIFRecords::kText) LookAt({value.data(), value.size()});
  }
  has_looked_ = true;
}

// Looks at all texts, wherever a read is.
void DIFFile::LookAhead() {
  std::unique_ptr<DIFRecords> reading;
  records_.swap(reading);
  const std::uint64_t position = position_;
  if (BeginRecords() && records_->ReadHeader(title_)) LookAtTexts();
  records_ = std::move(reading);
  position_ = position;
  input_.Seek(position);
}

int DIFFile::Read(ReadSpreadSheetData* sink) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  const bool is_open = leaves_size_open_;
  if (ReadHeader() != kGood) return status_;
  if (!rules_.single_byte_texts && !has_looked_ && !is_open) {
    LookAtTexts();
    if (ReadHeader() != kGood) return status_;
  }
  if (has_plain_texts_) records_->ExpectPlainTexts();
  const bool are_ascii = has_looked_ && !has_odd_texts_;
  Changed changed;
  sink->GetNextIndex(0);
  int row = 0;
  int wanted = 0;
  int cell = 0;
  int widest = 0;
  DIFRecords::Value value;
  while (true) {
    const DIFRecords::Kind kind = records_->ReadDIFRecord(value);
    if (kind == DIFRecords::kError) Fail(kBadRecord);
    if (kind == DIFRecords::kEnd || kind == DIFRecords::kError) break;
    if (kind == DIFRecords::kBeginning) {
      wanted = sink->GetNextIndex(row);
      if (row > 0) widest = std::max(widest, cell);
      ++row;
      cell = 0;
    } else if (kind != DIFRecords::kSkipped) {
      ++cell;
      if (row != wanted || row < 1) continue;
      const bool is_text = kind == DIFRecords::kText;
      if (kind == DIFRecords::kNumber ||
          (is_text && (are_ascii || (is_open && IsAscii({value.data(), value.size()}))))) {
        sink->Set(cell, row, value.data());
      } else if (is_text) {
        if (is_open && !has_looked_) LookAhead();
        sink->Set(cell, row, ConvertFromFile(value.data(), value.size(), changed));
      } else if (rules_.errors_as_empty_texts) {
        ++changed.errors;
        sink->Set(cell, row, "");
      }
    }
  }
  if (!rules_.last_row_as_size) cell = row > 0 ? std::max(widest, cell) : 0;
  if (is_open && status_ == kGood)
    TakeFinalSize(*sink, cell, row);
  else
    sink->SetDataSize(cell, row);
  Log::WriteCount(kSource, records_->lost_truths(),
                  "cell with the indicator TRUE or FALSE arrives empty",
                  "cells with the indicators TRUE and FALSE arrive empty");
  Log::WriteCount(kSource, changed.errors,
                  "missing cell with the indicator ERROR or NA arrives as an empty text",
                  "missing cells with the indicators ERROR and NA arrive as empty texts");
  Log::WriteCount(kSource, changed.utf8_texts,
                  "text is in UTF-8 and was taken for one in the code page",
                  "texts are in UTF-8 and were taken for such in the code page");
  Log::WriteCount(kSource, changed.characters, "character is not in Windows-1252 and became ?",
                  "characters are not in Windows-1252 and became ?");
  return status_;
}

int DIFFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  const bool looks = !rules_.single_byte_texts && !has_looked_;
  if (looks && BeginRecords() && records_->ReadHeader(title_)) LookAtTexts();
  if (!BeginRecords()) return kGood;
  Stating stating(description, kDifKeys);
  Budget budget(input_.is_open() ? input_.size() : 0);
  records_->ReadHeader([&](DIFRecords::Topic& topic) {
    Changed changed;
    const std::string text = ConvertFromFile(topic.text.data(), topic.text.size(), changed);
    // With its numbers and comment, two statements.
    if (stating.TakeFor(budget, topic.name, text) &&
        stating.TakeFor(budget, topic.name, topic.numbers))
      StateTopic(topic, text, stating);
  });
  return kGood;
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
  for (int row = 1; row <= rows && !output_.failed(); ++row) {
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
        FormatGeneral(source.GetExact(column, row).value_or(source.GetNumber(column, row)), number);
    std::string text(static_cast<const char*>(number.data()), end);
    // Kept: a number with an exponent is left to the source.
    if (text.find('e') != std::string::npos) text = text_of();
    WriteRecord("0," + text + "\nV\n", lossy);
  } else if (source.IsText(column, row)) {
    std::string text = text_of();
    const bool has_break = text.find_first_of("\r\n") != std::string::npos;
    lossy.breaks += has_break && rules_.texts_on_one_line ? 1 : 0;
    text = CellText(std::move(text));
    if (!rules_.quotes_as_they_stand) text = WithDoubledQuotes(text);
    WriteRecord("1,0\n\"" + text + "\"\n", lossy);
  } else {
    WriteRecord("1,0\n\"\"\n", lossy);
  }
}

void DIFFile::WriteRecord(std::string record, Lossy& lossy) {
  record = ConvertToFile(std::move(record), lossy);
  constexpr std::string_view kTextRecord = "1,0\n";
  if (rules_.short_lines_only && record.starts_with(kTextRecord) &&
      record.size() > kTextRecord.size() + DIFRecords::kLongestLine + 1)
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
  AppendFromCodePage(converted_, stored, page());
  return converted_.c_str();
}

std::string DIFFileOEM::ConvertToFile(std::string record, Lossy& lossy) const {
  std::size_t lost = 0;
  std::string converted = ToOem(record, lost);
  lossy.characters += lost;
  return converted;
}

// Kept: line breaks stay, unlike in the other class.
std::string DIFFileOEM::CellText(std::string text) const { return text; }

DiffFileOEMFactory::DiffFileOEMFactory(const DIFRules& rules)
    : RuledFactory({.name = "DIF File(OEM)",
                    .read_filter = "DIF Files(OEM) (*.dif)",
                    .write_filter = "DIF Files(OEM) (*.dif)",
                    .extensions = {".dif"},
                    .can_write = true,
                    .flag5 = true},
                   rules) {}

int DiffFileOEMFactory::IsCorrectFileType(const char* path) {
  return NvFile::GetEncoding(path) != ETextFileEncoding::kSingleByte ||
                 EqualIgnoringCase(NvGetFileExtension(path), "dif")
             ? kPlausible
             : kNotThis;
}

}  // namespace nvimport
