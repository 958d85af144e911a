#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "nvimport/platform/Budget.h"

namespace nvimport {

// The number that a text begins with; none where it begins with none or with one too large.
inline std::optional<std::uint32_t> WholeIn(std::string_view text) {
  std::uint32_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

inline std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = std::min(text.find_first_not_of(kBlanks), text.size());
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// A cell's text that comes in pieces. What it may grow to is the budget's, thrice: it moves to
// larger memory as it grows, and its escapes are resolved in another.
class GatheredText {
 public:
  explicit GatheredText(Budget& budget) : budget_(budget) {}
  GatheredText(const GatheredText&) = delete;
  GatheredText& operator=(const GatheredText&) = delete;
  ~GatheredText() { budget_.Return(3 * paid_); }

  // False when it becomes too long.
  bool Add(std::string_view piece) {
    const std::size_t size = text.size() + piece.size();
    if (size > paid_) {
      const std::size_t more = std::max(size, 2 * paid_) - paid_;
      if (!budget_.Take(3 * more)) return false;
      paid_ += more;
    }
    text += piece;
    return true;
  }

  std::string text;

 private:
  Budget& budget_;
  std::size_t paid_ = 0;
};

// What most programs write: printable ASCII that stands for itself, in attributes and in text.
inline constexpr std::array<bool, 256> kPlainXml = [] {
  std::array<bool, 256> plain{};
  for (unsigned c = ' '; c <= '~'; ++c) plain[c] = c != '<' && c != '>' && c != '&' && c != '"';
  return plain;
}();

// Takes plain XML off a text, piece by piece.
class PlainXml {
 public:
  explicit PlainXml(std::string_view text) : at_(text.data()), end_(at_ + text.size()) {}

  const char* at() const { return at_; }

  bool Take(std::string_view piece) {
    if (static_cast<std::size_t>(end_ - at_) < piece.size() ||
        std::memcmp(at_, piece.data(), piece.size()) != 0)
      return false;
    at_ += piece.size();
    return true;
  }

  // Up to what is not plain.
  std::string_view TakePlain() {
    const char* const begin = at_;
    while (at_ < end_ && kPlainXml[static_cast<unsigned char>(*at_)]) ++at_;
    return {begin, static_cast<std::size_t>(at_ - begin)};
  }

  // White space between tags.
  void TakeBlanks() {
    while (at_ < end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
  }

  // An attribute: a blank, a name of letters, its value in quotes.
  bool TakeAttribute(std::string_view& name, std::string_view& value) {
    return TakeAttribute(name, value, [](char c) { return IsLetter(c); });
  }
  // The same of one whose name may have a prefix and hyphens.
  bool TakePrefixedAttribute(std::string_view& name, std::string_view& value) {
    return TakeAttribute(name, value, [](char c) { return IsLetter(c) || c == ':' || c == '-'; });
  }

 private:
  static bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

  template <typename IsOfName>
  bool TakeAttribute(std::string_view& name, std::string_view& value, IsOfName is_of_name) {
    if (!Take(" ")) return false;
    const char* const begin = at_;
    while (at_ < end_ && is_of_name(*at_)) ++at_;
    name = {begin, static_cast<std::size_t>(at_ - begin)};
    if (name.empty() || !Take("=\"")) return false;
    value = TakePlain();
    return Take("\"");
  }

  const char* at_;
  const char* end_;
};

}  // namespace nvimport
