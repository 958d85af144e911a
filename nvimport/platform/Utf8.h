#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace nvimport {

// UTF-8, as far as the library and its programs need it.

// The bytes of the character that `text` begins with, 0 when it begins with none.
inline std::size_t CharacterSize(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < size) return 0;
  for (std::size_t i = 1; i < size; ++i)
    if ((byte(i) & 0xc0) != 0x80) return 0;
  // Longer than needed, a surrogate, beyond the last character.
  const unsigned char second = byte(1);
  if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second > 0x9f) ||
      (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second > 0x8f))
    return 0;
  return size;
}

inline bool IsAscii(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::uint64_t all = 0;
  const char* at = text.data();
  std::size_t left = text.size();
  const auto take = [&](auto word) {
    for (; left >= sizeof word; at += sizeof word, left -= sizeof word) {
      std::memcpy(&word, at, sizeof word);
      all |= word;
    }
  };
  take(std::uint64_t{});
  take(std::uint32_t{});
  take(std::uint16_t{});
  take(std::uint8_t{});
  return (all & kHighBits) == 0;
}

inline bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t size = CharacterSize(text);
    if (size == 0) return false;
    text.remove_prefix(size);
  }
  return true;
}

// Takes the first character off valid UTF-8.
inline char32_t TakeCharacter(std::string_view& utf8) {
  const std::size_t size = std::max<std::size_t>(CharacterSize(utf8), 1);
  constexpr unsigned char kLeadBits[] = {0, 0x7f, 0x1f, 0x0f, 0x07};
  char32_t c = static_cast<unsigned char>(utf8[0]) & kLeadBits[size];
  for (std::size_t i = 1; i < size; ++i) c = c << 6 | (static_cast<unsigned char>(utf8[i]) & 0x3fU);
  utf8.remove_prefix(size);
  return c;
}

inline void AppendUtf8(std::string& out, char32_t c) {
  const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80 | (c >> shift & 0x3f)); };
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xc0 | c >> 6);
    tail(0);
  } else if (c < 0x10000) {
    out += static_cast<char>(0xe0 | c >> 12);
    tail(6);
    tail(0);
  } else {
    out += static_cast<char>(0xf0 | c >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

// Adds bytes that are the characters of the same numbers.
inline void AppendLatin1(std::string& out, std::string_view bytes) {
  for (const char c : bytes) AppendUtf8(out, static_cast<unsigned char>(c));
}

}  // namespace nvimport
