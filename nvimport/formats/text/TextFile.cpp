#include "nvimport/formats/text/TextFile.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "nvimport/formats/text/BinaryTest.h"
#include "nvimport/formats/text/CellReader.h"
#include "nvimport/formats/text/DelimiterNames.h"
#include "nvimport/formats/text/FieldScanner.h"
#include "nvimport/formats/text/TextFacts.h"
#include "nvimport/formats/text/TextInput.h"
#include "nvimport/framework/MemorySheet.h"
#include "nvimport/framework/SpreadsheetData.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/ByteWriter.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Exception.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

enum Status : int { kNoStream = 512, kNotAtEnd = 513, kBinary = 514 };
constexpr StatusText kTexts[] = {
    {kNoStream, kNoStreamText},
    {kNotAtEnd, "Expected end of file but found more data."},
    {kBinary, kBinaryText},
};
static_assert(WellFormed(kTexts, 512, 514));

std::vector<unsigned char> Serialise(const TextImportChoice& choice) {
  ByteWriter writer;
  writer.WriteBinaryString(choice.delimiter);
  writer.WriteByte(choice.ignore_consecutive ? 1 : 0);
  const std::string& bytes = writer.bytes();
  return {bytes.begin(), bytes.end()};
}

TextImportChoice Deserialise(const NvImportOpenOptions& options) {
  const auto size = static_cast<std::size_t>(std::max(options.size, 0));
  ByteReader reader(std::span(options.data, size));
  TextImportChoice choice;
  choice.delimiter = reader.Text(reader.U32());
  const std::uint8_t ignore = reader.U8();
  choice.ignore_consecutive = ignore == 1;
  if (reader.ok() && ignore <= 1) return choice;
  Log::WriteMessage("TextFile", "SetOptions",
                    "The " + std::to_string(options.size) +
                        " bytes of options make no sense at byte " +
                        std::to_string(reader.position()) + ".",
                    Log::kNormal);
  throw Exception(kInvalidOptionsText);
}

// Finds the largest number of fields and the number of lines.
struct SizeCounter {
  static constexpr bool kCountsOnly = true;
  std::uint64_t columns = 0;
  std::uint64_t rows = 0;
  std::uint64_t fields = 0;

  void Field(const char*, std::size_t) { ++fields; }
  void Fields(unsigned count) { fields += count; }
  bool EndLine() {
    columns = std::max(columns, std::exchange(fields, 0));
    ++rows;
    return true;
  }
};

std::string_view CellText(WriteSpreadSheetData& source, int column, int row, FloatText& number) {
  const bool is_number = source.IsNumber(column, row);
  if (!is_number && !source.IsText(column, row)) return {};
  const bool has_text = !is_number || source.KeepsTextOf(column, row);
  const char* text = has_text ? source.GetText(column, row) : nullptr;
  if (text != nullptr && (*text != '\0' || !is_number)) return text;
  if (!is_number) return {};
  const auto exact = source.GetExact(column, row);
  return exact ? FormatDouble(*exact, number) : FormatFloat(source.GetNumber(column, row), number);
}

}  // namespace

TextFile::TextFile(const TextRules& rules) : rules_(rules), input_(std::make_unique<TextInput>()) {}

TextFile::TextFile(const TextFile& other)
    : SpreadsheetFile(other),
      rules_(other.rules_),
      ignore_consecutive_(other.ignore_consecutive_),
      delimiter_(other.delimiter_),
      input_(std::make_unique<TextInput>()) {}

TextFile& TextFile::operator=(const TextFile& other) {
  if (this == &other) return *this;
  Close();
  SpreadsheetFile::operator=(other);
  rules_ = other.rules_;
  ignore_consecutive_ = other.ignore_consecutive_;
  delimiter_ = other.delimiter_;
  return *this;
}

TextFile::~TextFile() = default;

bool TextFile::IsTextFile(const char* path) {
  InputFile file(path);
  if (!file.is_open()) return false;
  std::vector<char> head(kTestedHead);
  const std::ptrdiff_t got = file.Read(head);
  return got >= 0 && !IsBinary({head.data(), static_cast<std::size_t>(got)});
}

bool TextFile::IsUtf16TextFile(const char* path) {
  TextInput text(path, /*finds_unmarked=*/true);
  if (!text.is_utf16() || !text.Rewind()) return false;
  std::vector<char> head(kTestedHead);
  const std::ptrdiff_t got = text.Read(head);
  return got >= 0 && !IsBinary({head.data(), static_cast<std::size_t>(got)});
}

NvImportOpenOptions* TextFile::GetImportOptions(const std::string& delimiter,
                                                bool ignore_consecutive) {
  return SpreadsheetOpenOptions::NewOpenOptions(Serialise({delimiter, ignore_consecutive}));
}

void TextFile::SetDelimiter(const char* delimiter) {
  delimiter_ = delimiter != nullptr ? delimiter : "";
}

void TextFile::IgnoreConsecutiveDelimiters(bool ignore) { ignore_consecutive_ = ignore; }

int TextFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  size_established_ = leaves_size_open_ = false;
  if (path == nullptr) path = "";
  path_ = path;
  if (!read) {
    mode_ = Mode::kWriting;
    output_ = OutputFile(path);
    return output_.is_open() ? kGood : Fail(kNoStream);
  }
  // Kept: the text test comes first, so a missing file is refused as a binary one.
  const bool is_utf16 = !rules_.utf16_is_binary && IsUtf16TextFile(path);
  if (!is_utf16 && !IsTextFile(path)) Fail(kBinary);
  mode_ = Mode::kReading;
  if (status_ != kGood) return status_;
  *input_ = TextInput(path, is_utf16);
  if (!input_->is_open()) return Fail(kNoStream);
  if (!is_utf16) input_->TakeBytes();
  try {
    SetOptions(options);
  } catch (...) {
    input_->Close();
    mode_ = Mode::kClosed;
    throw;
  }
  return status_;
}

void TextFile::Close() {
  input_->Close();
  output_.Close();
  options_.clear();
  mode_ = Mode::kClosed;
  SpreadsheetFile::Close();
}

bool TextFile::SetOptions(NvImportOpenOptions* options) {
  TextImportChoice choice{delimiter_, ignore_consecutive_};
  const bool wants_choice_back =
      options != nullptr && options->size == 0 && options->data == nullptr;
  if (options == nullptr || options->size == 0 || options->data == nullptr) {
    const auto preview = [this](const TextImportChoice& trial, int rows, int columns) {
      return Preview(trial, rows, columns);
    };
    auto answer = Dialogs::Current().ImportText({"Text Import Wizard", path_, choice, preview});
    if (!answer) {
      input_->Close();
      Fail(kCancelled);
      return false;
    }
    choice = std::move(*answer);
  } else {
    choice = Deserialise(*options);
  }
  if (wants_choice_back) {
    options_ = Serialise(choice);
    *options = {static_cast<int>(options_.size()), options_.data()};
  }
  SetDelimiter(choice.delimiter.c_str());
  ignore_consecutive_ = choice.ignore_consecutive;
  return status_ == kGood;
}

std::vector<std::vector<std::string>> TextFile::Preview(const TextImportChoice& choice, int rows,
                                                        int columns) {
  // The page's trials leave no trace in the reader.
  TextFile trial(*this);
  trial.SetDelimiter(choice.delimiter.c_str());
  trial.ignore_consecutive_ = choice.ignore_consecutive;
  trial.mode_ = Mode::kReading;
  std::swap(trial.input_, input_);
  SpreadsheetListView sheet;
  Walked walked;
  trial.ReadCells(&sheet, columns, rows, 1, 1, walked);
  std::swap(trial.input_, input_);

  std::vector<std::vector<std::string>> cells(static_cast<std::size_t>(sheet.GetNumberOfRows()));
  for (int r = 1; r <= sheet.GetNumberOfRows(); ++r)
    for (int c = 1; c <= sheet.GetNumberOfColumns(); ++c)
      cells[static_cast<std::size_t>(r - 1)].emplace_back(sheet.GetText(c, r));
  return cells;
}

bool TextFile::LeaveSizeOpen() { return leaves_size_open_ = mode_ == Mode::kReading; }

int TextFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  SizeCounter counter;
  FieldScanner scanner(*input_, delimiter_, ignore_consecutive_);
  const bool is_there = leaves_size_open_ ? input_->RewindToHead(kSizedHead) : input_->Rewind();
  if (!is_there) return Fail(kNoSize);
  const FieldScanner::Outcome outcome = scanner.Walk(counter);
  if (outcome == FieldScanner::Outcome::kFieldTooLong)
    Log::WriteMessage(
        "TextFile", "EstablishSize",
        "A field in line " + std::to_string(counter.rows + 1) + " is longer than 64 MiB.",
        Log::kNormal);
  if (outcome != FieldScanner::Outcome::kEnd) return Fail(kNoSize);
  return SetSize(counter.columns, input_->has_more() ? std::uint64_t{kOpenSize} : counter.rows);
}

int TextFile::Read(ReadSpreadSheetData* sink) {
  const int columns = GetNumCols();
  const int rows = GetNumRows();
  const Walked walked = ReadAnnounced(sink, columns, rows, 1, 1);
  if (rows == kOpenSize) {
    if (walked.to_the_end && status_ == kGood) TakeFinalSize(*sink, walked.columns, walked.lines);
    return status_;
  }
  if (walked.to_the_end && walked.lines < rows) NoteMissingRows("TextFile", walked.lines, rows);
  return status_;
}

int TextFile::Read(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
                   int first_column) {
  ReadAnnounced(sink, last_column, last_row, first_row, first_column);
  return status_;
}

TextFile::Walked TextFile::ReadAnnounced(ReadSpreadSheetData* sink, int last_column, int last_row,
                                         int first_row, int first_column) {
  if (size_established_ && mode_ == Mode::kReading && status_ == kGood)
    sink->SetDataSize(std::min(last_column, num_cols_),
                      num_rows_ == kOpenSize ? 0 : std::min(last_row, num_rows_));
  Walked walked;
  ReadCells(sink, last_column, last_row, first_row, first_column, walked);
  if (walked.cut_lines > 0)
    Log::WriteNote("TextFile", std::to_string(walked.cut_lines) +
                                   (walked.cut_lines == 1 ? " line holds" : " lines hold") +
                                   " a NUL byte, and what follows it there was not delivered");
  input_->NoteReplaced("TextFile");
  return walked;
}

int TextFile::ReadCells(ReadSpreadSheetData* sink, int last_column, int last_row, int first_row,
                        int first_column, Walked& walked) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  CellReader cells(sink, last_column, last_row, first_row, first_column);
  FieldScanner scanner(*input_, delimiter_, ignore_consecutive_);
  if (!input_->Rewind()) return Fail(kNoStream);
  if (!cells.AskForRow()) return kGood;
  const FieldScanner::Outcome outcome = scanner.Walk(cells);
  walked = {scanner.cut_lines(), cells.lines(), cells.columns(),
            outcome == FieldScanner::Outcome::kEnd};
  if (outcome == FieldScanner::Outcome::kReadFailed) return Fail(kNoStream);
  if (outcome == FieldScanner::Outcome::kFieldTooLong) return Fail(kNoSize);
  return kGood;
}

int TextFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kReading) return Fail(kWrongMode);
  const bool has_delimiter = delimiter_.find('\n') == std::string::npos;
  TextFacts facts(has_delimiter ? delimiter_ : "");
  TextInput text(path_.c_str(), !rules_.utf16_is_binary);
  if (!text.is_open()) return status_;
  facts.TakeAll(text);
  Stating stating(description, kTextKeys);
  facts.State(text.mark(), text.shown_encoding(), stating);
  if (facts.separates()) stating.State("delimiter", DelimiterName(delimiter_));
  return status_;
}

int TextFile::Write(WriteSpreadSheetData* source) {
  if (status_ != kGood) return status_;
  if (mode_ != Mode::kWriting) return Fail(kWrongMode);
  const int rows = source->GetNumberOfRows();
  const int columns = source->GetNumberOfColumns();
  // Kept: only the first character separates, however long the delimiter is.
  const std::string separator = delimiter_.substr(0, 1);
  const std::string breaking = separator + "\r\n";
  std::size_t broken = 0;
  FloatText number;
  for (int r = 1; r <= rows; ++r) {
    for (int c = 1; c <= columns; ++c) {
      if (c > 1) output_.Write(separator);
      const std::string_view text = CellText(*source, c, r, number);
      broken += text.find_first_of(breaking) != std::string_view::npos ? 1 : 0;
      output_.Write(text);
    }
    output_.Write("\n");
    if (output_.failed()) break;
  }
  output_.Flush();
  Log::WriteCount("TextFile", broken,
                  "cell holds the delimiter or a line break and reads back as several",
                  "cells hold the delimiter or a line break and read back as several");
  return kGood;
}

void TextFile::GetErrorMessage(char* buffer, unsigned int size) {
  if (!CopyText(kTexts, buffer, size)) SpreadsheetFile::GetErrorMessage(buffer, size);
}

TextFileFactory::TextFileFactory(const TextRules& rules)
    : RuledFactory({.name = "Text File",
                    .read_filter = "Text Files (*.txt; *.dat)",
                    .write_filter = "Text File (*.txt)",
                    .extensions = {".txt", ".dat"},
                    .can_write = true,
                    .flag5 = true,
                    .options = {{"delimiter", "TEXT", /*is_asked=*/true, /*is_pair=*/false},
                                {"ignore-consecutive", "0|1", true, false}}},
                   rules) {}

int TextFileFactory::IsCorrectFileType(const char* path) {
  const bool is_text =
      TextFile::IsTextFile(path) || (!rules().utf16_is_binary && TextFile::IsUtf16TextFile(path));
  return is_text ? kPlausible : kNotThis;
}

}  // namespace nvimport
