#include "nvimport/platform/TextTables.h"

#include <windows.h>

#include <algorithm>
#include <charconv>
#include <optional>

#include "nvimport/platform/Utf8.h"
#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

constexpr unsigned kAscii = 20127;

// A code page by the names that it has elsewhere.
std::optional<unsigned> PageOf(std::string name) {
  constexpr struct {
    std::string_view name;
    unsigned page;
  } kNames[] = {{"UTF-8", CP_UTF8}, {"UTF8", CP_UTF8},  {"ASCII", kAscii},    {"US-ASCII", kAscii},
                {"LATIN1", 28591},  {"L1", 28591},      {"KOI8-R", 20866},    {"KOI8-U", 21866},
                {"SHIFT_JIS", 932}, {"SHIFT-JIS", 932}, {"SJIS", 932},        {"EUC-JP", 20932},
                {"GBK", 936},       {"GB2312", 936},    {"EUC-CN", 936},      {"GB18030", 54936},
                {"BIG5", 950},      {"EUC-KR", 949},    {"MACINTOSH", 10000}, {"MAC", 10000},
                {"TIS-620", 874}};
  constexpr struct {
    std::string_view prefix;
    unsigned first;
  } kNumbered[] = {{"CP", 0},           {"WINDOWS-", 0},     {"IBM", 0}, {"ISO-8859-", 28590},
                   {"ISO8859-", 28590}, {"ISO_8859-", 28590}};
  std::ranges::transform(name, name.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  for (const auto& known : kNames)
    if (name == known.name) return known.page;
  for (const auto& numbered : kNumbered) {
    unsigned number = 0;
    if (!name.starts_with(numbered.prefix)) continue;
    const char* const end = name.data() + name.size();
    const auto parsed = std::from_chars(name.data() + numbered.prefix.size(), end, number);
    if (parsed.ec == std::errc() && parsed.ptr == end) return numbered.first + number;
  }
  return std::nullopt;
}

// Some pages know no flags, and nothing of characters that they lack.
bool KnowsDefault(unsigned page) { return page != CP_UTF8 && page != 54936; }

std::optional<std::wstring> Decoded(unsigned page, std::string_view text) {
  if (page == kAscii && !IsAscii(text)) return std::nullopt;
  const auto size = static_cast<int>(text.size());
  const int count =
      ::MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, text.data(), size, nullptr, 0);
  if (count <= 0) return std::nullopt;
  std::wstring wide(static_cast<std::size_t>(count), L'\0');
  ::MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), count);
  return wide;
}

std::optional<std::string> Encoded(unsigned page, std::string_view utf8) {
  if (page == kAscii && !IsAscii(utf8)) return std::nullopt;
  const std::wstring wide = Wide(utf8);
  const auto size = static_cast<int>(wide.size());
  BOOL lacks = FALSE;
  BOOL* const lacked = KnowsDefault(page) ? &lacks : nullptr;
  const DWORD flags = KnowsDefault(page) ? WC_NO_BEST_FIT_CHARS : 0;
  const int count =
      ::WideCharToMultiByte(page, flags, wide.data(), size, nullptr, 0, nullptr, lacked);
  if (count <= 0 || lacks != FALSE) return std::nullopt;
  std::string text(static_cast<std::size_t>(count), '\0');
  ::WideCharToMultiByte(page, flags, wide.data(), size, text.data(), count, nullptr, nullptr);
  return text;
}

}  // namespace

void TextTables::Close::operator()(void* handle) const { delete static_cast<unsigned*>(handle); }

TextTables::TextTables(const std::string& to, const std::string& from)
    : from_utf8_(from == "UTF-8") {
  const auto page = PageOf(from_utf8_ ? to : from);
  if (page && ::IsValidCodePage(*page) != 0) handle_.reset(new unsigned(*page));
}

// What is wrong is looked for only where something is.
bool TextTables::Append(std::string& out, std::string_view text,
                        std::string_view replacement) const {
  const unsigned page = *static_cast<const unsigned*>(handle_.get());
  if (text.empty()) return true;
  if (from_utf8_) {
    if (IsUtf8(text)) {
      if (const auto whole = Encoded(page, text)) {
        out += *whole;
        return true;
      }
    }
    while (!text.empty()) {
      const std::size_t size = std::clamp<std::size_t>(CharacterSize(text), 1, text.size());
      const std::string_view one = text.substr(0, size);
      const auto converted = IsUtf8(one) ? Encoded(page, one) : std::nullopt;
      out += converted ? std::string_view(*converted) : replacement;
      text.remove_prefix(size);
    }
    return false;
  }
  if (const auto whole = Decoded(page, text)) {
    out += Narrow(*whole);
    return true;
  }
  constexpr std::size_t kLongest = 4;
  while (!text.empty()) {
    std::size_t size = 1;
    auto one = Decoded(page, text.substr(0, size));
    while (!one && size < std::min(kLongest, text.size()))
      one = Decoded(page, text.substr(0, ++size));
    if (!one) size = 1;
    out += one ? Narrow(*one) : std::string(replacement);
    text.remove_prefix(size);
  }
  return false;
}

}  // namespace nvimport
