#include "nvimport/hosting/export/SheetWriters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string_view>

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
  static constexpr std::string_view kRowStart = "";
  static constexpr std::string_view kSeparator = {kSpecial, 1};
  static constexpr std::string_view kRowEnd = "\n";
  // A line without anything is no row to many a program.
  static constexpr std::string_view kLoneEmpty = "\"\"";
  static bool IsPlain(std::string_view text) {
    static constexpr CharacterSet kOther = SetOf(kSpecial, Besides::kNotAscii);
    return !Holds(text, kOther);
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
  static void Number(auto& out, std::string_view text, double) { out.Write(text); }
  static void Missing(auto&) {}
};
using Csv = Delimited<','>;
using Tsv = Delimited<'\t'>;

// True when `text` is a number in JSON's own grammar.
bool IsJsonNumber(std::string_view text) {
  const auto take_digits = [&] {
    const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(end);
    return end > 0;
  };
  const auto take = [&](std::string_view any) {
    const bool taken = !text.empty() && any.find(text.front()) != std::string_view::npos;
    if (taken) text.remove_prefix(1);
    return taken;
  };
  take("-");
  if (!take("0") && !take_digits()) return false;
  if (take(".") && !take_digits()) return false;
  if (take("eE")) {
    take("+-");
    if (!take_digits()) return false;
  }
  return text.empty();
}

struct JsonLines {
  static constexpr std::string_view kRowStart = "[";
  static constexpr std::string_view kSeparator = ",";
  static constexpr std::string_view kRowEnd = "]\n";
  static constexpr std::string_view kLoneEmpty = "";
  static bool IsPlain(std::string_view) { return false; }

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
  static void Number(auto& out, std::string_view text, double value) {
    out.Write(std::isfinite(value) ? text : "null");
  }
  static void Missing(auto& out) { out.Write("null"); }
};

template <typename Format, typename Stream>
void WriteCell(Stream& out, const MemoryCell& cell, auto&& decode) {
  FloatText buffer;
  switch (cell.kind) {
    case CellKind::kText:
      return Format::Text(out, decode(cell.text));
    case CellKind::kNumber:
      return Format::Number(out, FormatNumber(cell, buffer), cell.exact());
    case CellKind::kMissing:
      return Format::Missing(out);
  }
}

template <typename Format>
std::size_t WriteRows(const MemorySheet& sheet, int columns, int rows,
                      const TextConversion& conversion, OutputFile& file, Progress& progress) {
  EncodedStream out(file, conversion.encoder);
  std::string decoded;
  std::string guarded;
  const bool guards = conversion.guards_formulas && !std::is_same_v<Format, JsonLines>;
  const auto decode = [&](std::string_view text) {
    text = conversion.decoder.Decode(text, decoded);
    return guards ? Guarded(text, Format::kSeparator[0], guarded) : text;
  };
  static constexpr CharacterSet kBreaking = SetOf("\t\r\n");
  std::size_t broken = 0;
  std::array<MemoryCell, kCellsAtOnce> cells;
  for (int row = 1; row <= rows; ++row) {
    out.Write(Format::kRowStart);
    for (int column = 0; column < columns; ++column) {
      const auto i = static_cast<std::size_t>(column) % cells.size();
      if (i == 0) {
        const auto rest = static_cast<std::size_t>(columns - column);
        sheet.GetCells(column + 1, row, std::span(cells).first(std::min(rest, cells.size())));
      }
      if (column > 0) out.Write(Format::kSeparator);
      const MemoryCell& cell = cells[i];
      if (columns == 1 && cell.kind != CellKind::kNumber && cell.text.empty() &&
          !Format::kLoneEmpty.empty())
        out.Write(Format::kLoneEmpty);
      else if (cell.kind == CellKind::kText && !guards && Format::IsPlain(cell.text))
        file.Write(cell.text);
      else
        WriteCell<Format>(out, cell, decode);
      if constexpr (std::is_same_v<Format, Tsv>)
        broken += cell.kind == CellKind::kText && Holds(cell.text, kBreaking) ? 1 : 0;
    }
    out.Write(Format::kRowEnd);
    if (file.failed()) break;
    if (row % kRowsPerReport == 0 &&
        !progress.Advance(static_cast<std::uint64_t>(row), static_cast<std::uint64_t>(rows)))
      break;
  }
  return broken;
}

}  // namespace

std::uint64_t BytesPerCell(SheetFormat format) {
  constexpr std::string_view kMissingInJson = "null,";
  return format == SheetFormat::kJsonLines ? kMissingInJson.size() : 1;
}

std::size_t WriteSheet(SheetFormat format, MemorySheet& sheet, const TextConversion& conversion,
                       OutputFile& out, Progress& progress) {
  const int columns = sheet.GetNumberOfColumns();
  const int rows = sheet.GetNumberOfRows();
  switch (format) {
    case SheetFormat::kCsv:
      return WriteRows<Csv>(sheet, columns, rows, conversion, out, progress);
    case SheetFormat::kTsv:
      return WriteRows<Tsv>(sheet, columns, rows, conversion, out, progress);
    case SheetFormat::kJsonLines:
      return WriteRows<JsonLines>(sheet, columns, rows, conversion, out, progress);
  }
  return 0;
}

std::string JsonCell(const MemoryCell& cell, const TextDecoder& decoder) {
  StringStream out;
  std::string decoded;
  WriteCell<JsonLines>(out, cell,
                       [&](std::string_view text) { return decoder.Decode(text, decoded); });
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
