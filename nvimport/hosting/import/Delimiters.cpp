#include "nvimport/hosting/import/Delimiters.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "nvimport/hosting/CellText.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

constexpr NamedDelimiter kNamed[] = {
    {"tab", "TAB", "\t", false},
    {"comma", "comma", ",", false},
    {"semicolon", "semicolon", ";", false},
    {"bar", "bar", "|", false},
    {"blank", "runs of blanks", " ", true},
};

const NamedDelimiter* FindNamed(const TextImportChoice& choice) {
  const auto* found = std::ranges::find_if(kNamed, [&](const NamedDelimiter& named) {
    return named.delimiter == choice.delimiter &&
           named.ignore_consecutive == choice.ignore_consecutive;
  });
  return found != std::end(kNamed) ? found : nullptr;
}

std::optional<char> HexByte(std::string_view text) {
  unsigned char byte = 0;
  if (text.size() != 2) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
  if (error != std::errc() || end != text.data() + 2 || byte == 0) return std::nullopt;
  return static_cast<char>(byte);
}

}  // namespace

std::span<const NamedDelimiter> NamedDelimiters() { return kNamed; }

TextImportChoice ParseDelimiter(std::string_view text) {
  for (const NamedDelimiter& named : kNamed)
    if (EqualIgnoringCase(text, named.word))
      return {std::string(named.delimiter), named.ignore_consecutive};
  std::string delimiter;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view escape = text.substr(i, 2);
    if (escape == "\\t" || escape == "\\\\") {
      delimiter += escape == "\\t" ? '\t' : '\\';
      ++i;
    } else if (const auto byte = HexByte(escape == "\\x" ? text.substr(i + 2, 2) : "")) {
      delimiter += *byte;
      i += 3;
    } else {
      delimiter += text[i];
    }
  }
  return {delimiter, false};
}

std::string DelimiterValue(const std::string& delimiter) {
  const auto* named = std::ranges::find(kNamed, delimiter, &NamedDelimiter::delimiter);
  return named != std::end(kNamed) ? std::string(named->word) : delimiter;
}

std::string ShownDelimiter(const TextImportChoice& choice) {
  if (const NamedDelimiter* named = FindNamed(choice)) return std::string(named->shown);
  if (choice.delimiter.empty()) return "none";
  const NamedDelimiter* single = FindNamed({choice.delimiter, !choice.ignore_consecutive});
  const std::string name = single != nullptr && !choice.ignore_consecutive ? "a single blank"
                           : single != nullptr ? std::string(single->shown)
                                               : "\"" + ShownName(choice.delimiter) + "\"";
  return choice.ignore_consecutive ? "runs of " + name : name;
}

std::string WrittenDelimiter(const TextImportChoice& choice) {
  const NamedDelimiter* named = FindNamed(choice);
  if (named == nullptr) named = FindNamed({choice.delimiter, false});
  if (named != nullptr) return std::string(named->word);
  constexpr char kHex[] = "0123456789abcdef";
  std::string written;
  for (const char c : choice.delimiter) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f && c != '\'' && c != '\\')
      written += c;
    else
      written.append("\\x") += {kHex[byte >> 4], kHex[byte & 0xf]};
  }
  return written;
}

}  // namespace nvimport
