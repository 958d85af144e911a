#include "nvimport/hosting/export/SheetWriters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "nvimport/hosting/export/ArrowRows.h"
#include "nvimport/hosting/export/TiledSheet.h"
#ifdef NVIMPORT_HAS_PACKAGES
#include "nvimport/hosting/export/XlsxRows.h"
#endif
#include "nvimport/platform/ByteScan.h"
#include "nvimport/platform/NumberText.h"
#include "nvimport/platform/Progress.h"

namespace nvimport {

namespace {

constexpr int kRowsPerReport = 1024;
constexpr std::size_t kCellsAtOnce = 64;

// A stream's face over a string, for single values.
class StringStream {
 public:
  void Write(std::string_view text) { text_ += text; }
  std::string&& Take() { return std::move(text_); }

 private:
  std::string text_;
};

// A file that takes UTF-8. Encoding comes last, since in some encodings a character's second byte
// looks like a quote or a backslash.
class EncodedStream {
 public:
  EncodedStream(OutputFile& file, const TextEncoder& encoder) : file_(file), encoder_(encoder) {}
  void Write(std::string_view text) { file_.Write(encoder_.Encode(text, scratch_)); }

 private:
  OutputFile& file_;
  const TextEncoder& encoder_;
  std::string scratch_;
};

// The characters that a format can't write as they stand.
using CharacterSet = std::array<bool, 256>;

enum class Besides { kNothing, kControls, kNotAscii };

constexpr CharacterSet SetOf(std::string_view characters, Besides besides = Besides::kNothing) {
  CharacterSet set{};
  for (const char c : characters) set[static_cast<unsigned char>(c)] = true;
  if (besides == Besides::kControls) std::fill_n(set.begin(), 0x20, true);
  if (besides == Besides::kNotAscii) std::fill(set.begin() + 0x80, set.end(), true);
  return set;
}

const char* FindAny(std::string_view text, const CharacterSet& set) {
  return std::ranges::find_if(text, [&](char c) { return set[static_cast<unsigned char>(c)]; });
}

// All characters are looked at: texts are short, and a jump that can't be foreseen costs more.
bool Holds(std::string_view text, const CharacterSet& set) {
  bool holds = false;
  for (const char c : text) holds |= set[static_cast<unsigned char>(c)];
  return holds;
}

// Writes `text`, each character of `set` as `escape` says.
template <typename Stream, typename Escape>
void WriteEscaped(Stream& out, std::string_view text, const CharacterSet& set, Escape escape) {
  while (true) {
    const char* next = FindAny(text, set);
    const auto plain = static_cast<std::size_t>(next - text.data());
    out.Write(text.substr(0, plain));
    if (plain == text.size()) return;
    out.Write(escape(*next));
    text.remove_prefix(plain + 1);
  }
}

// `text` without what a spreadsheet passes over before a formula: blanks, controls, quotes, marks.
std::string_view WithoutLead(std::string_view text) {
  // No-break and zero-width spaces, the word joiner, the byte order mark.
  constexpr std::string_view kUnseen[] = {"\u00a0", "\u200b", "\u200c",
                                          "\u200d", "\u2060", "\ufeff"};
  while (!text.empty()) {
    const auto* const unseen =
        std::ranges::find_if(kUnseen, [&](auto mark) { return text.starts_with(mark); });
    if (unseen != std::end(kUnseen))
      text.remove_prefix(unseen->size());
    else if (text[0] == '"' || static_cast<unsigned char>(text[0]) <= ' ')
      text.remove_prefix(1);
    else
      break;
  }
  return text;
}

// Whether a spreadsheet would take a field for a formula.
bool IsFormula(std::string_view field) {
  // The signs that begin one, in their full width too.
  constexpr std::string_view kSigns[] = {"=", "+", "-", "@", "＝", "＋", "－", "＠"};
  const std::string_view shown = WithoutLead(field);
  return std::ranges::any_of(kSigns, [&](auto sign) { return shown.starts_with(sign); }) &&
         !ParseNumber(shown) && !ParseNumber(shown, ',');
}

// `text` with an apostrophe before each part that a spreadsheet would take for a formula: the
// whole, and what follows a character that separates fields or rows in a spreadsheet of other
// settings, for which quotes within its fields hold nothing together. `text` itself where it has
// none.
std::string_view Guarded(std::string_view text, char delimiter, std::string& guarded) {
  std::string separators = ",;\t|\r\n";
  std::erase(separators, delimiter);
  guarded.clear();
  std::size_t done = 0;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
    if (IsFormula(begin == 0 ? text : text.substr(begin, end - begin))) {
      guarded.append(text, done, begin - done).append("'");
      done = begin;
    }
    begin = end + 1;
  }
  return done == 0 && guarded.empty() ? text : guarded.append(text, done);
}

// Each format's IsPlain: whether a text of the sheet is written as it stands in every encoding, as
// most are. It may say no of others that are.

// RFC 4180, with lines that end in LF, and the same with TABs, as spreadsheets write it.
template <char kDelimiter>
struct Delimited {
  static constexpr char kSpecial[] = {kDelimiter, '"', '\r', '\n', ' ', '\0'};
  static constexpr bool kIsJson = false;
  static std::string_view RowStart(std::uint64_t) { return ""; }
  static std::string_view End(std::uint64_t) { return ""; }
  static constexpr std::string_view kSeparator = {kSpecial, 1};
  static constexpr std::string_view kRowEnd = "\n";
  // A line without anything is no row to many a program.
  static constexpr std::string_view kLoneEmpty = "\"\"";
  static constexpr bool kHasPlainTexts = true;
  static bool IsPlain(std::string_view text) {
    static constexpr CharacterSet kOther = SetOf(kSpecial, Besides::kNotAscii);
    return !Holds(text, kOther);
  }
  // The same of one that neither begins nor ends with a blank, which is copied on the way.
  static bool CopiesPlain(char* to, const char* text, std::size_t length) {
    static constexpr char kBreaking[] = {kDelimiter, '"', '\r', '\n'};
    return !CopyAndFind(to, text, length, kBreaking);
  }

  static void Text(auto& out, std::string_view text) {
    static constexpr CharacterSet kQuoted = SetOf({kSpecial, 4});
    static constexpr CharacterSet kQuote = SetOf("\"");
    if (text.empty()) return;
    if (text.front() != ' ' && text.back() != ' ' && !Holds(text, kQuoted)) return out.Write(text);
    out.Write("\"");
    WriteEscaped(out, text, kQuote, [](char) { return std::string_view("\"\""); });
    out.Write("\"");
  }
  static void Missing(auto&) {}
};
using Csv = Delimited<','>;
using Tsv = Delimited<'\t'>;

// True when `text` is a number in JSON's own grammar.
bool IsJsonNumber(std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  const auto take = [&](char one, char other) {
    const bool taken = at < end && (*at == one || *at == other);
    if (taken) ++at;
    return taken;
  };
  const auto take_digits = [&] {
    const char* const begin = at;
    while (at < end && *at >= '0' && *at <= '9') ++at;
    return at > begin;
  };
  take('-', '-');
  if (!take('0', '0') && !take_digits()) return false;
  if (take('.', '.') && !take_digits()) return false;
  if (take('e', 'E')) {
    take('+', '-');
    if (!take_digits()) return false;
  }
  return at == end;
}

struct JsonCells {
  static constexpr bool kIsJson = true;
  static constexpr std::string_view kSeparator = ",";
  static constexpr std::string_view kLoneEmpty = "";
  static constexpr bool kHasPlainTexts = false;
  static bool IsPlain(std::string_view) { return false; }
  static bool CopiesPlain(char*, const char*, std::size_t) { return false; }

  static void Text(auto& out, std::string_view text) {
    if (IsJsonNumber(text)) return out.Write(text);
    if (IsAscii(text)) return String(out, text);
    StringStream string;
    String(string, text);
    out.Write(EscapeInJson(string.Take()));
  }
  static void String(auto& out, std::string_view text) {
    static constexpr CharacterSet kEscaped = SetOf("\"\\\x7f", Besides::kControls);
    out.Write("\"");
    std::array<char, 6> control = {'\\', 'u', '0', '0', '0', '0'};
    WriteEscaped(out, text, kEscaped, [&](char c) -> std::string_view {
      switch (c) {
        case '"':
          return "\\\"";
        case '\\':
          return "\\\\";
        case '\n':
          return "\\n";
        case '\r':
          return "\\r";
        case '\t':
          return "\\t";
        default:
          control[4] = static_cast<char>('0' + c / 16);
          control[5] = "0123456789abcdef"[c % 16];
          return {control.data(), control.size()};
      }
    });
    out.Write("\"");
  }
  static void Missing(auto& out) { out.Write("null"); }
};

struct JsonLines : JsonCells {
  static constexpr std::string_view kRowEnd = "]\n";
  static std::string_view RowStart(std::uint64_t) { return "["; }
  static std::string_view End(std::uint64_t) { return ""; }
};

// One document: the first row has the names, the others follow.
struct JsonDocument : JsonCells {
  static constexpr std::string_view kRowEnd = "]";
  static std::string_view RowStart(std::uint64_t before) {
    if (before == 0) return "\"names\":[";
    return before == 1 ? ",\n\"rows\":[\n[" : ",\n[";
  }
  static std::string_view End(std::uint64_t rows) {
    return rows < 2 ? ",\n\"rows\":[]}\n" : "\n]}\n";
  }
};

// Writes rows cell by cell, all as wide as the sheet.
template <typename Format>
class RowWriter {
 public:
  RowWriter(int columns, const TextConversion& conversion, OutputFile& file)
      : columns_(columns),
        conversion_(conversion),
        file_(file),
        out_(file, conversion.encoder),
        guards_(conversion.guards_formulas && !Format::kIsJson),
        has_comma_(conversion.decimal_mark == ',' && !Format::kIsJson),
        changes_(guards_ || has_comma_) {}

  void SetColumns(int columns) { columns_ = columns; }
  // The column that the next cell will have.
  int next() const { return next_; }

  void BeginRow() {
    file_.Write(Format::RowStart(rows_++));
    next_ = 1;
  }
  void Put(const MemoryCell& cell) {
    if (cell.kind == CellKind::kText) return PutText(cell.text);
    if (cell.kind == CellKind::kNumber)
      return WithNumber(cell, [this](auto number) { this->PutNumber(number); });
    Separate();
    if (!IsLoneEmpty({})) Format::Missing(out_);
  }
  template <typename Number>
  void PutNumber(Number value) {
    if (Format::kIsJson && !std::isfinite(value)) return Put({});
    char* const room = has_comma_ ? nullptr : file_.Room(OutputFile::kMostRoom);
    if (room != nullptr) {
      const std::size_t first = next_++ > 1 ? Format::kSeparator.size() : 0;
      room[0] = Format::kSeparator[0];
      return file_.Advance(static_cast<std::size_t>(PutShortest(value, room + first) - room));
    }
    Separate();
    FloatText buffer;
    Format::Text(out_, WithComma({buffer.data(), PutShortest(value, buffer.data())}));
  }
  // The same of a text that ends with its NUL: most are short and need nothing done to them.
  void PutText(const char* text, std::size_t length) {
    constexpr std::size_t kLongest = OutputFile::kMostRoom - 17;
    const bool may_be_plain = Format::kHasPlainTexts && !changes_ && length - 1 < kLongest;
    if (char* const room = may_be_plain ? file_.Room(OutputFile::kMostRoom) : nullptr) {
      const std::size_t first = next_ > 1 ? Format::kSeparator.size() : 0;
      room[0] = Format::kSeparator[0];
      if (Format::CopiesPlain(room + first, text, length) && text[0] != ' ' &&
          text[length - 1] != ' ') {
        file_.Advance(first + length);
        ++next_;
        return;
      }
    }
    PutText(std::string_view(text));
  }
  void PutText(std::string_view text) {
    Separate();
    if (IsLoneEmpty(text)) return;
    if (!changes_ && Format::IsPlain(text)) return file_.Write(text);
    if constexpr (std::is_same_v<Format, Tsv>) broken_ += Holds(text, kBreaking) ? 1 : 0;
    text = conversion_.decoder.Decode(text, decoded_);
    if (has_comma_ && ParseNumber(text)) return Format::Text(out_, WithComma(text));
    Format::Text(out_, guards_ ? Guarded(text, Format::kSeparator[0], guarded_) : text);
  }
  // Missing cells before that column.
  void SkipTo(int column) {
    while (next_ < column) Put({});
  }
  void EndRow() {
    SkipTo(columns_ + 1);
    file_.Write(Format::kRowEnd);
  }

  // What stands behind all rows.
  void End() { file_.Write(Format::End(rows_)); }

  // The cells of TSV that stand in quotes since they hold a TAB or a line break.
  std::size_t broken() const { return broken_; }

 private:
  static constexpr CharacterSet kBreaking = SetOf("\t\r\n");

  std::string_view WithComma(std::string_view number) {
    with_comma_ = number;
    std::ranges::replace(with_comma_, '.', ',');
    return with_comma_;
  }
  void Separate() {
    if (next_++ > 1) file_.Write(Format::kSeparator);
  }
  bool IsLoneEmpty(std::string_view text) {
    if (Format::kLoneEmpty.empty() || columns_ != 1 || !text.empty()) return false;
    file_.Write(Format::kLoneEmpty);
    return true;
  }

  int columns_;
  const TextConversion& conversion_;
  OutputFile& file_;
  EncodedStream out_;
  bool guards_;
  bool has_comma_;
  bool changes_;  // texts
  int next_ = 1;
  std::uint64_t rows_ = 0;
  std::string decoded_;
  std::string guarded_;
  std::string with_comma_;
  std::size_t broken_ = 0;
};

// Tells the writer what there is to say, if it has room for that.
template <typename Writer>
void SetMetadata(Writer& writer, const SheetMetadata& metadata) {
  if constexpr (requires { writer.SetMetadata(metadata); }) writer.SetMetadata(metadata);
}

template <typename Writer, typename Sheet>
std::size_t WriteRows(Sheet& sheet, const TextConversion& conversion, OutputFile& file,
                      Progress& progress, const SheetMetadata& metadata) {
  const int columns = sheet.GetNumberOfColumns();
  const int rows = sheet.GetNumberOfRows();
  Writer writer(columns, conversion, file);
  SetMetadata(writer, metadata);
  std::array<MemoryCell, kCellsAtOnce> cells;
  for (int row = 1; row <= rows; ++row) {
    writer.BeginRow();
    while (writer.next() <= columns) {
      const auto rest = static_cast<std::size_t>(columns - writer.next()) + 1;
      const auto some = std::span(cells).first(std::min(rest, cells.size()));
      sheet.GetCells(writer.next(), row, some);
      for (const MemoryCell& cell : some) writer.Put(cell);
    }
    writer.EndRow();
    const bool is_stopped =
        row % kRowsPerReport == 0 &&
        !progress.Advance(static_cast<std::uint64_t>(row), static_cast<std::uint64_t>(rows));
    if (file.failed() || is_stopped) return writer.broken();
  }
  writer.End();
  return writer.broken();
}

// Writes cells as they come.
template <typename Writer>
class RowsAsTheyCome final : public StreamingSheet {
 public:
  RowsAsTheyCome(SheetFormat format, const TextConversion& conversion, OutputFile& file)
      : format_(format), writer_(0, conversion, file), file_(file) {}

  void Begin(StreamedRows rows) override {
    rows_ = std::move(rows);
    SetMetadata(writer_, rows_.metadata);
    writer_.SetColumns(rows_.columns);
  }

  using ReadSpreadSheetData::Set;
  void Set(int column, int row, const char* text) override {
    if (text != nullptr) Set(column, row, text, std::strlen(text));
  }
  void Set(int column, int row, const char* text, std::size_t length) override {
    if (text == nullptr) return;
    if (Holds(row)) return head_.Set(column, row, text);
    if (GoTo(column, row)) writer_.PutText(text, length);
  }
  void Set(int column, int row, float value) override {
    if (Holds(row)) return head_.Set(column, row, value);
    if (GoTo(column, row)) PutNumber(value);
  }
  bool TakesExact() override { return true; }
  void SetExact(int column, int row, double value) override {
    if (Holds(row)) return head_.SetExact(column, row, value);
    if (GoTo(column, row)) PutNumber(value);
  }
  void SetExact(int column, int row, long long value) override {
    if (Holds(row)) return head_.SetExact(column, row, value);
    if (GoTo(column, row)) PutNumber(value);
  }
  void SetDataSize(int columns, int rows) override {
    ReadOnlySheet::SetDataSize(std::max(columns, GetNumberOfColumns()),
                               std::max(rows, GetNumberOfRows()));
    has_room_ = has_room_ || (columns > 0 && rows > 0);
    if (columns > rows_.columns) Widen(columns, rows);
  }

  bool Finish() override {
    Release();
    NoteSize();
    if (GetNumberOfColumns() != rows_.columns) return false;
    GoToRow(GetNumberOfRows());
    EndRow();
    writer_.End();
    return true;
  }
  std::size_t broken() const override { return writer_.broken(); }
  bool is_empty() const override { return cells_ == 0 && !has_room_; }
  int widened_at() const override { return widened_at_; }

 private:
  // The rows that are kept until one behind them comes: spectra name their columns while they go
  // through the first of them, and there may be a row of x values between the two.
  static constexpr int kHeldRows = 3;

  bool Holds(int row) {
    if (is_released_) return false;
    if (row > kHeldRows) Release();
    return !is_released_;
  }
  void Release() {
    if (std::exchange(is_released_, true)) return;
    writer_.BeginRow();
    std::array<MemoryCell, kCellsAtOnce> cells;
    const int columns = head_.GetNumberOfColumns();
    if (columns > rows_.columns) Widen(columns, 1);
    for (int row = 1; row <= head_.GetNumberOfRows(); ++row) {
      for (int done = 0; done < columns;) {
        const auto some = std::span(cells).first(
            std::min(cells.size(), static_cast<std::size_t>(columns - done)));
        head_.GetCells(done + 1, row, some);
        for (const MemoryCell& cell : some) {
          ++done;
          if (cell.kind != CellKind::kMissing && GoTo(done, row)) writer_.Put(cell);
        }
      }
    }
    head_.Clear();
  }

  // Writes all that comes before the cell. False for one that no sheet has.
  bool GoTo(int column, int row) {
    const bool is_next = row == row_ && column == writer_.next() && column <= rows_.columns;
    if (!is_next && !GoFar(column, row)) return false;
    ++cells_;
    return true;
  }
  bool GoFar(int column, int row) {
    if (column < 1 || row < 1) return false;
    if (row < row_) GiveUp();
    GoToRow(row);
    if (column > rows_.columns) Widen(column, row);
    if (column < writer_.next()) GiveUp();
    writer_.SkipTo(column);
    return true;
  }
  void GoToRow(int row) {
    for (; row_ < row; ++row_) {
      EndRow();
      writer_.BeginRow();
    }
  }
  void EndRow() {
    NoteSize();
    writer_.EndRow();
    if (file_.failed()) GiveUp();
    delimiters_ += static_cast<std::uint64_t>(rows_.columns) * BytesPerCell(format_);
    if (!rows_.is_sparse && IsSparse(cells_, delimiters_)) GiveUp();
  }
  // Cells are not counted in one by one.
  void NoteSize() {
    ReadOnlySheet::SetDataSize(std::max(writer_.next() - 1, GetNumberOfColumns()),
                               std::max(row_, GetNumberOfRows()));
  }
  void Widen(int columns, int row) {
    constexpr bool kWidens = requires { Writer::kTakesWiderRows; };
    if (!kWidens && !rows_.may_widen) GiveUp();
    rows_.columns = columns;
    writer_.SetColumns(columns);
    if (!kWidens && widened_at_ == 0 && row > 1) widened_at_ = row;
  }
  template <typename Number>
  void PutNumber(Number value) {
    if constexpr (requires { writer_.PutNumber(value); })
      writer_.PutNumber(value);
    else
      writer_.Put(NumberCell(value));
  }
  [[noreturn]] void GiveUp() {
    gave_up_ = true;
    throw GaveUp();
  }

  SheetFormat format_;
  StreamedRows rows_;
  Writer writer_;
  OutputFile& file_;
  MemorySheet head_;
  bool is_released_ = false;
  int row_ = 1;
  int widened_at_ = 0;
  bool has_room_ = false;
  std::uint64_t cells_ = 0;
  std::uint64_t delimiters_ = 0;
};

// Calls `use` for what writes the rows of that format.
template <typename Use>
auto WithWriterOf(SheetFormat format, const Use& use) {
  switch (format) {
    case SheetFormat::kCsv:
      break;
    case SheetFormat::kTsv:
      return use(std::type_identity<RowWriter<Tsv>>());
    case SheetFormat::kJsonLines:
      return use(std::type_identity<RowWriter<JsonLines>>());
    case SheetFormat::kJson:
      return use(std::type_identity<RowWriter<JsonDocument>>());
    case SheetFormat::kArrow:
      return use(std::type_identity<ArrowFileRows>());
    case SheetFormat::kArrowStream:
      return use(std::type_identity<ArrowRows>());
    case SheetFormat::kXlsx:
#ifdef NVIMPORT_HAS_PACKAGES
      return use(std::type_identity<XlsxRows>());
#else
      break;
#endif
  }
  return use(std::type_identity<RowWriter<Csv>>());
}

template <typename Sheet>
std::size_t WriteRowsOf(SheetFormat format, Sheet& sheet, const TextConversion& conversion,
                        OutputFile& out, Progress& progress, const SheetMetadata& metadata) {
  return WithWriterOf(format, [&](auto writer) {
    using Writer = typename decltype(writer)::type;
    return WriteRows<Writer>(sheet, conversion, out, progress, metadata);
  });
}

}  // namespace

std::uint64_t BytesPerCell(SheetFormat format) {
  constexpr std::string_view kMissingInJson = "null,";
  switch (format) {
    case SheetFormat::kCsv:
    case SheetFormat::kTsv:
    case SheetFormat::kXlsx:
      return 1;
    case SheetFormat::kJsonLines:
    case SheetFormat::kJson:
      return kMissingInJson.size();
    case SheetFormat::kArrow:
    case SheetFormat::kArrowStream:
      return sizeof(double);
  }
  return 1;
}

std::string_view HeadOf(SheetFormat format, std::string_view head) {
  return format == SheetFormat::kJson && head.empty() ? "{" : head;
}

std::size_t WriteSheet(SheetFormat format, MemorySheet& sheet, const TextConversion& conversion,
                       OutputFile& out, Progress& progress, const SheetMetadata& metadata) {
  return WriteRowsOf(format, sheet, conversion, out, progress, metadata);
}

std::size_t WriteSheet(SheetFormat format, TiledSheet& sheet, const TextConversion& conversion,
                       OutputFile& out, Progress& progress, const SheetMetadata& metadata) {
  return WriteRowsOf(format, sheet, conversion, out, progress, metadata);
}

bool IsSparse(std::uint64_t cells, std::uint64_t delimiters) {
  constexpr std::uint64_t kMost = 100'000'000;  // bytes
  constexpr std::uint64_t kMostPerCell = 1000;
  return delimiters > kMost && delimiters / kMostPerCell > cells;
}

std::unique_ptr<StreamingSheet> NewStreamingSheet(SheetFormat format,
                                                  const TextConversion& conversion,
                                                  OutputFile& out) {
  return WithWriterOf(format, [&](auto writer) -> std::unique_ptr<StreamingSheet> {
    using Writer = typename decltype(writer)::type;
    return std::make_unique<RowsAsTheyCome<Writer>>(format, conversion, out);
  });
}

std::optional<MemoryCell> NumberIn(std::string_view text) {
  constexpr std::size_t kMostExact = 15;  // digits of a whole number that is surely a double
  if (!IsJsonNumber(text)) return std::nullopt;
  const char* const end = text.data() + text.size();
  if (text.size() > kMostExact && text.find_first_of(".eE") == std::string_view::npos) {
    long long whole = 0;
    if (std::from_chars(text.data(), end, whole).ec != std::errc()) return std::nullopt;
    if (!IsExact(whole)) return NumberCell(whole);
  }
  double value = 0;
  if (std::from_chars(text.data(), end, value).ec != std::errc()) return std::nullopt;
  return NumberCell(value);
}

std::string JsonCell(const MemoryCell& cell, const TextDecoder& decoder) {
  StringStream out;
  std::string decoded;
  FloatText buffer;
  if (cell.kind == CellKind::kText)
    JsonLines::Text(out, decoder.Decode(cell.text, decoded));
  else if (cell.kind == CellKind::kNumber && std::isfinite(cell.exact()))
    out.Write(FormatNumber(cell, buffer));
  else
    JsonLines::Missing(out);
  return out.Take();
}

const char* ConvertedSheet::GetText(int column, int row) {
  const char* text = sheet_.GetText(column, row);
  if (IsAscii(text)) return text;
  const std::string_view utf8 = conversion_.decoder.Decode(text, decoded_);
  const std::string_view written = conversion_.encoder.Encode(utf8, encoded_);
  // Either the sheet's own text or one of the two strings, so it ends with its NUL.
  return written.data();
}

}  // namespace nvimport
