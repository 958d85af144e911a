#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace nvimport {

// The code pages of old worksheets. OEM is CP437, ANSI is Windows-1252.
inline constexpr int kOemPage = 437;
inline constexpr int kAnsiPage = 1252;

// Windows-1252 from 0x80 to 0x9f; above, its characters are those of Unicode. The five undefined
// bytes are the control characters of the same value.
inline constexpr std::array<char16_t, 32> kWindows1252 = {
    0x20ac, 0x0081, 0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021, 0x02c6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008d, 0x017d, 0x008f, 0x0090, 0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
    0x2013, 0x2014, 0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0x009d, 0x017e, 0x0178};

// The character of a Windows-1252 byte.
inline char32_t FromWindows1252(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 0x80 && byte < 0xa0 ? kWindows1252[byte - 0x80U] : char32_t{byte};
}

// Converts `count` bytes in place; what the other page lacks becomes '?'. The number of those.
std::size_t OemToAnsi(char* text, std::size_t count);

// Tells whether texts are in the OEM or the ANSI code page, by what characters their bytes would
// be.
class OemOrAnsi {
 public:
  void Count(std::string_view text);
  // The OEM page where nothing tells.
  int page() const { return ansi_ > oem_ ? kAnsiPage : kOemPage; }

 private:
  std::size_t oem_ = 0;
  std::size_t ansi_ = 0;
};

// `text`, which is UTF-8 where it is valid UTF-8 and else Windows-1252, in the OEM code page. What
// it lacks becomes '?', counted in `lost`.
std::string ToOem(std::string_view text, std::size_t& lost);

// Adds `bytes`, which are in the code page of this number, as UTF-8: any that a workbook may state,
// by Excel's own numbers too. One that is not known counts as Windows-1252.
void AppendFromCodePage(std::string& out, std::string_view bytes, int page);

}  // namespace nvimport
