#include "nvimport/formats/text/CsvFile.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <span>

#include "nvimport/formats/text/BinaryTest.h"
#include "nvimport/formats/text/CellReader.h"
#include "nvimport/formats/text/CsvGuess.h"
#include "nvimport/formats/text/CsvScanner.h"
#include "nvimport/formats/text/DelimiterNames.h"
#include "nvimport/formats/text/TextFacts.h"
#include "nvimport/formats/text/TextInput.h"
#include "nvimport/framework/OptionPairs.h"
#include "nvimport/framework/SpreadsheetOpenOptions.h"

namespace nvimport {

namespace {

constexpr const char* kSource = "CsvFile";
constexpr std::size_t kHead = 64 * 1024;

enum Status : int { kNoStream = 3072, kBinary, kNotClosed, kTooLong, kUtf32 };
// "%s" is the number of a line.
constexpr StatusText kTexts[] = {
    {kInvalidOptions, kInvalidOptionsText},
    {kNoStream, kNoStreamText},
    {kBinary, kBinaryText},
    {kNotClosed, "The quoted field that begins in line %s is not closed."},
    {kTooLong,
     "The field that begins in line %s is longer than 64 MiB. A quotation mark may be missing."},
    {kUtf32, "UTF-32 texts cannot be read. Only UTF-8, UTF-16 and ordinary texts can be imported."},
};
static_assert(WellFormed(kTexts, kInvalidOptions, 3076));

constexpr NamedByte kQuotes[] = {{"double", '"'}, {"single", '\''}, {"none", kNoQuote}};

std::optional<char> ByteOf(std::span<const NamedByte> names, std::string_view text) {
  const auto named = std::ranges::find(names, text, &NamedByte::name);
  if (named != names.end()) return named->byte;
  if (text.size() != 1 || std::string_view("\r\n\0", 3).find(text[0]) != std::string_view::npos)
    return std::nullopt;
  return text[0];
}

std::string NameOf(std::span<const NamedByte> names, char byte) {
  const auto named = std::ranges::find(names, byte, &NamedByte::byte);
  return named != names.end() ? std::string(named->name) : std::string(1, byte);
}

OptionPairs Pairs(std::string delimiter, std::string quote, bool header) {
  OptionPairs pairs;
  if (!delimiter.empty()) pairs.Set("delimiter", std::move(delimiter));
  pairs.Set("quote", std::move(quote));
  pairs.Set("header", header ? "1" : "0");
  return pairs;
}

// A first line that does nothing but name the delimiter, as spreadsheets write and read it.
struct DelimiterLine {
  char delimiter = '\0';  // NUL when there is no such line
  std::size_t size = 0;   // with its end
};

DelimiterLine FindDelimiterLine(std::string_view head) {
  const std::string_view line = head.substr(0, head.find_first_of("\r\n"));
  const bool is_quoted = line.size() >= 2 && line.front() == '"' && line.back() == '"';
  const std::string_view text = is_quoted ? line.substr(1, line.size() - 2) : line;
  constexpr std::string_view kName = "sep=";
  if (text.size() != kName.size() + 1 || !text.starts_with(kName)) return {};
  const std::string_view rest = head.substr(line.size());
  const std::size_t end = rest.starts_with("\r\n") ? 2 : std::min<std::size_t>(rest.size(), 1);
  return {text.back(), line.size() + end};
}

}  // namespace

CsvFile::CsvFile(const CsvRules& rules) : rules_(rules), input_(std::make_unique<TextInput>()) {}

CsvFile::~CsvFile() = default;

NvImportOpenOptions* CsvFile::GetImportOptions(const std::string& delimiter,
                                               const std::string& quote, bool header) {
  // A semicolon would end its pair.
  std::string name = delimiter.size() == 1 ? NameOf(kDelimiters, delimiter[0]) : delimiter;
  return SpreadsheetOpenOptions::NewOpenOptions(Pairs(std::move(name), quote, header).Bytes());
}

int CsvFile::Open(bool read, const char* path, NvImportOpenOptions* options) {
  if (status_ != kGood) return status_;
  if (!read) return Fail(kWrongMode);
  size_established_ = leaves_size_open_ = false;
  if (TakeOptions(options) != kGood) return status_;
  *input_ = TextInput(path != nullptr ? path : "", !rules_.utf16_needs_mark);
  if (!input_->is_open()) return Fail(kNoStream);
  if (input_->is_utf32()) return Fail(kUtf32);
  if (TakeHead() != kGood) return status_;
  if (TakesChoices(options)) WriteBack(*options);
  return kGood;
}

void CsvFile::Close() {
  input_->Close();
  options_.clear();
  SpreadsheetFile::Close();
}

int CsvFile::TakeOptions(const NvImportOpenOptions* options) {
  const auto given = OptionPairs::Parse(options);
  if (!given) return RefuseOptions(kSource, "bytes", "the whole of them");
  delimiter_ = '\0';
  quote_ = '"';
  header_ = true;
  const auto quote = given->Find("quote");
  if (quote) {
    const auto byte = ByteOf(kQuotes, *quote);
    if (!byte) return RefuseOptions(kSource, "quote", *quote);
    quote_ = *byte;
  }
  const auto delimiter = given->Find("delimiter");
  if (delimiter) {
    const auto byte = ByteOf(kDelimiters, *delimiter);
    if (!byte || *byte == quote_) return RefuseOptions(kSource, "delimiter", *delimiter);
    delimiter_ = *byte;
  }
  const auto header = given->Find("header");
  if (header && *header != "0" && *header != "1") return RefuseOptions(kSource, "header", *header);
  header_ = header != "0";
  return kGood;
}

int CsvFile::TakeHead() {
  std::vector<char> bytes(kHead);
  if (!input_->Rewind()) return Fail(kNoStream);
  const std::ptrdiff_t got = input_->Read(bytes);
  if (got < 0) return Fail(kNoStream);
  std::string_view head(bytes.data(), static_cast<std::size_t>(got));
  if (!input_->is_utf16() && IsBinary(head.substr(0, kTestedHead - input_->mark_size())))
    return Fail(kBinary);
  const DelimiterLine line = FindDelimiterLine(head);
  rows_begin_ = line.size;
  named_delimiter_ = line.delimiter;
  if (delimiter_ != '\0') return kGood;
  if (line.delimiter != '\0' && line.delimiter != quote_) {
    delimiter_ = line.delimiter;
    return kGood;
  }
  head.remove_prefix(line.size);
  // A last line that goes on would mislead.
  if (head.size() + line.size == kHead) head = head.substr(0, head.find_last_of("\r\n"));
  delimiter_ = GuessCsvDelimiter(head, quote_);
  return kGood;
}

void CsvFile::WriteBack(NvImportOpenOptions& options) {
  options_ = Pairs(NameOf(kDelimiters, delimiter_), NameOf(kQuotes, quote_), header_).Bytes();
  options = {static_cast<int>(options_.size()), options_.data()};
}

bool CsvFile::LeaveSizeOpen() { return leaves_size_open_ = input_->is_open(); }

bool CsvFile::SeekRows(bool of_head) {
  std::array<char, 16> skipped{};
  const auto begin = std::span(skipped).first(static_cast<std::size_t>(rows_begin_));
  const bool is_there = of_head ? input_->RewindToHead(kSizedHead) : input_->Rewind();
  return is_there && input_->Read(begin) >= 0;
}

int CsvFile::EstablishSize() {
  if (status_ != kGood) return status_;
  if (!input_->is_open()) return Fail(kWrongMode);
  CsvScanner scanner(*input_, delimiter_, quote_);
  if (!SeekRows(leaves_size_open_)) return Fail(kNoStream);
  CsvSize size;
  const CsvOutcome outcome = scanner.Measure(header_ ? 0 : 1, size);
  // Quotes may close behind the part that was looked at.
  if (input_->has_more() && outcome != CsvOutcome::kReadFailed)
    return SetSize(size.columns, kOpenSize);
  if (outcome == CsvOutcome::kEnd) return SetSize(size.columns, size.rows);
  return FailAs(outcome, kNoSize, scanner.failed_field());
}

int CsvFile::Read(ReadSpreadSheetData* sink) {
  const int columns = GetNumCols();
  const int rows = GetNumRows();
  if (status_ != kGood) return status_;
  sink->SetDataSize(columns, rows == kOpenSize ? 0 : rows);
  CellReader cells(sink, columns, rows, 1, 1, header_ ? 1 : 0);
  CsvScanner scanner(*input_, delimiter_, quote_);
  if (!SeekRows()) return Fail(kNoStream);
  if (!cells.AskForRow()) return kGood;
  const CsvOutcome outcome = scanner.Walk(cells);
  Log::WriteCount(kSource, scanner.cut_fields(),
                  "field holds a NUL byte, and what follows it there was not delivered",
                  "fields hold a NUL byte, and what follows it there was not delivered");
  input_->NoteReplaced(kSource);
  const int delivered = cells.lines() - (header_ ? 0 : 1);
  if (outcome == CsvOutcome::kStopped) return kGood;
  if (outcome != CsvOutcome::kEnd) return FailAs(outcome, kNoStream, scanner.failed_field());
  if (rows == kOpenSize) return TakeFinalSize(*sink, cells.columns(), std::max(delivered, 0));
  if (delivered < rows) NoteMissingRows(kSource, std::max(delivered, 0), rows);
  return kGood;
}

int CsvFile::DescribeAll(Description& description) {
  if (status_ != kGood) return status_;
  if (!input_->is_open()) return Fail(kWrongMode);
  const std::string_view delimiter(&delimiter_, 1);
  TextFacts facts(delimiter, quote_ != kNoQuote ? quote_ : '\0');
  facts.TakeAll(*input_);
  Stating stating(description, kTextKeys);
  facts.State(input_->mark(), input_->shown_encoding(), stating);
  if (named_delimiter_ != '\0') stating.State("sep=", DelimiterName({&named_delimiter_, 1}));
  if (facts.separates() && delimiter_ != named_delimiter_)
    stating.State("delimiter", DelimiterName(delimiter));
  if (!header_) stating.State("header row", "left out");
  return kGood;
}

int CsvFile::FailAs(CsvOutcome outcome, int read_failed, std::uint64_t field) {
  if (outcome == CsvOutcome::kReadFailed) return Fail(read_failed);
  failed_line_ = LineOf(rows_begin_ + field);
  return Fail(outcome == CsvOutcome::kNotClosed ? kNotClosed : kTooLong);
}

std::uint64_t CsvFile::LineOf(std::uint64_t offset) {
  std::vector<char> piece(kHead);
  std::uint64_t line = 1;
  char before = '\0';
  bool more = input_->Rewind();
  if (!more) return 0;  // of a pipe
  while (more && offset > 0) {
    const std::ptrdiff_t got = input_->Read(piece);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(
        offset, static_cast<std::uint64_t>(std::max<std::ptrdiff_t>(got, 0))));
    more = count > 0;
    offset -= count;
    for (const char c : std::span(piece).first(count)) {
      if (c == '\r' || (c == '\n' && before != '\r')) ++line;
      before = c;
    }
  }
  return line;
}

void CsvFile::GetErrorMessage(char* buffer, unsigned int size) {
  const auto* const entry = std::ranges::find(kTexts, status_, &StatusText::status);
  if (entry == std::end(kTexts)) return SpreadsheetFile::GetErrorMessage(buffer, size);
  std::string text = entry->text;
  // From a pipe nobody can count them any more.
  constexpr std::string_view kWhere = "that begins in line %s ";
  if (const std::size_t at = text.find(kWhere); at != std::string::npos && failed_line_ == 0)
    text.erase(at, kWhere.size());
  if (const std::size_t at = text.find("%s"); at != std::string::npos)
    text.replace(at, 2, std::to_string(failed_line_));
  const StatusText filled{status_, text.c_str()};
  CopyText({&filled, 1}, buffer, size);
}

CsvFileFactory::CsvFileFactory(const CsvRules& rules)
    : RuledFactory({.name = "CSV File",
                    .read_filter = "CSV Files (*.csv)",
                    .extensions = {".csv"},
                    .flag5 = true,
                    .options = {{"delimiter", "TEXT"},
                                {"quote", "double|single|none|BYTE"},
                                {"header", "0|1"}}},
                   rules) {}

}  // namespace nvimport
