#include "nvimport/hosting/CellText.h"

#include <algorithm>

#include "nvimport/platform/CodePages.h"
#include "nvimport/platform/TextTables.h"

namespace nvimport {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};
constexpr Range kWide[] = {{0x1100, 0x115f}, {0x2e80, 0xa4cf},   {0xac00, 0xd7a3},
                           {0xf900, 0xfaff}, {0xfe30, 0xfe6f},   {0xff00, 0xff60},
                           {0xffe0, 0xffe6}, {0x1f300, 0x1faff}, {0x20000, 0x3fffd}};
// Marks that stand on the character before: Latin, Cyrillic, Hebrew, Arabic, Devanagari, Thai.
constexpr Range kNoWidth[] = {
    {0x0300, 0x036f}, {0x0483, 0x0489}, {0x0591, 0x05bd}, {0x0610, 0x061a}, {0x064b, 0x065f},
    {0x0900, 0x0902}, {0x093c, 0x093c}, {0x0941, 0x0948}, {0x094d, 0x094d}, {0x0e31, 0x0e31},
    {0x0e34, 0x0e3a}, {0x0e47, 0x0e4e}, {0x1ab0, 0x1aff}, {0x1dc0, 0x1dff}, {0x200b, 0x200f},
    {0x2060, 0x2064}, {0x20d0, 0x20f0}, {0x3099, 0x309a}, {0xfe00, 0xfe0f}, {0xfe20, 0xfe2f},
    {0xfeff, 0xfeff}};
// What turns round the text behind it, or breaks the line.
constexpr Range kTurning[] = {
    {0x061c, 0x061c}, {0x200e, 0x200f}, {0x2028, 0x2029}, {0x202a, 0x202e}, {0x2066, 0x2069}};

template <std::size_t kCount>
bool IsIn(const Range (&ranges)[kCount], char32_t c) {
  return std::ranges::any_of(ranges, [c](Range r) { return c >= r.first && c <= r.last; });
}

bool IsControl(char32_t c) { return c < 0x20 || (c >= 0x7f && c <= 0x9f); }

void AppendHex(std::string& text, char32_t c, int digits) {
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
    text += "0123456789abcdef"[c >> shift & 0xf];
}

std::size_t CharacterWidth(char32_t c) { return IsIn(kNoWidth, c) ? 0 : IsIn(kWide, c) ? 2 : 1; }

}  // namespace

Conversion::Conversion(const std::string& to, const std::string& from)
    : tables_(std::make_unique<const TextTables>(to, from)) {}

Conversion::~Conversion() = default;

bool Conversion::ok() const {
  if (!tables_->is_known()) return false;
  std::string ascii;
  for (char c = 1; c > 0 && c < 127; ++c) ascii += c;
  std::string converted;
  Convert(ascii, converted, "?");
  return converted == ascii;
}

bool Conversion::Convert(std::string_view text, std::string& out,
                         std::string_view replacement) const {
  out.clear();
  return tables_->Append(out, text, replacement);
}

TextDecoder::TextDecoder(const std::string& encoding)
    : conversion_(encoding.empty() ? nullptr
                                   : std::make_shared<const Conversion>("UTF-8", encoding)) {}

std::string_view TextDecoder::DecodeOther(std::string_view text, std::string& scratch) const {
  if (conversion_ != nullptr) {
    conversion_->Convert(text, scratch, "\xef\xbf\xbd");
    return scratch;
  }
  if (IsUtf8(text)) return text;
  scratch.clear();
  for (const char c : text) AppendUtf8(scratch, FromWindows1252(c));
  return scratch;
}

TextEncoder::TextEncoder(const std::string& encoding)
    : conversion_(encoding.empty() ? nullptr
                                   : std::make_shared<const Conversion>(encoding, "UTF-8")) {}

std::string EscapeControls(std::string_view utf8) {
  std::string shown;
  while (!utf8.empty()) {
    const char* start = utf8.data();
    const char32_t c = TakeCharacter(utf8);
    if (IsIn(kTurning, c))
      AppendHex(shown += "\\u", c, 4);
    else if (IsControl(c))
      AppendHex(shown += "\\x", c, 2);
    else
      shown.append(start, utf8.data());
  }
  return shown;
}

std::string EscapeInJson(std::string json) {
  // The first byte of each character that is escaped.
  if (json.find_first_of("\x7f\xc2\xd8\xe2") == std::string::npos) return json;
  std::string escaped;
  for (std::string_view rest = json; !rest.empty();) {
    const char* start = rest.data();
    const char32_t c = TakeCharacter(rest);
    if (IsIn(kTurning, c) || (c >= 0x7f && IsControl(c)))
      AppendHex(escaped += "\\u", c, 4);
    else
      escaped.append(start, rest.data());
  }
  return escaped;
}

std::string OneLine(std::string_view bytes) {
  constexpr std::string_view kBreaks = "\r\n";
  constexpr std::string_view kBlanks = " \t\r\n";
  std::string line;
  while (true) {
    const std::size_t end = bytes.find_first_of(kBreaks);
    const std::string_view part = bytes.substr(0, end);
    line.append(part.substr(0, part.find_last_not_of(kBlanks) + 1));
    bytes.remove_prefix(part.size());
    bytes.remove_prefix(std::min(bytes.find_first_not_of(kBlanks), bytes.size()));
    if (bytes.empty()) return EscapeControls(ToUtf8(line));
    line += ' ';
  }
}

std::string ToUtf8(std::string_view bytes) {
  std::string scratch;
  return std::string(TextDecoder().Decode(bytes, scratch));
}

std::string ShownName(std::string_view name) {
  return name.empty() ? "\"\"" : EscapeControls(ToUtf8(name));
}

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  while (!utf8.empty()) width += CharacterWidth(TakeCharacter(utf8));
  return width;
}

std::string CutToWidth(std::string_view utf8, std::size_t width) {
  if (DisplayWidth(utf8) <= width) return std::string(utf8);
  std::string_view rest = utf8;
  std::size_t used = 0;
  std::size_t kept = 0;
  while (true) {
    used += CharacterWidth(TakeCharacter(rest));
    if (used + 1 > width) break;
    kept = utf8.size() - rest.size();
  }
  return std::string(utf8.substr(0, kept)) + "\u2026";
}

}  // namespace nvimport
