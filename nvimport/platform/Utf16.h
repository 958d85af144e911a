#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

// Joins 16-bit units, given one by one, to characters. A surrogate without its partner becomes
// U+FFFD.
class Utf16Decoder {
 public:
  // Hands the characters that are certain after this unit to `take(char32_t)`.
  template <typename Take>
  void Unit(char16_t unit, Take take) {
    const bool is_low = unit >= 0xDC00 && unit <= 0xDFFF;
    if (high_ != 0 && is_low) {
      take(0x10000 + (static_cast<char32_t>(high_ - 0xD800) << 10) + (unit - 0xDC00U));
      high_ = 0;
      return;
    }
    End(take);
    if (unit >= 0xD800 && unit <= 0xDBFF)
      high_ = unit;
    else if (is_low)
      Replace(take);
    else
      take(char32_t{unit});
  }

  // The text ends here.
  template <typename Take>
  void End(Take take) {
    if (high_ != 0) Replace(take);
    high_ = 0;
  }

  // Surrogates without their partners so far.
  std::uint64_t replaced() const { return replaced_; }

 private:
  template <typename Take>
  void Replace(Take take) {
    take(kReplacement);
    ++replaced_;
  }

  static constexpr char32_t kReplacement = 0xFFFD;

  char16_t high_ = 0;
  std::uint64_t replaced_ = 0;
};

// Adds the UTF-16LE in `bytes`; an odd last byte is dropped.
inline void AppendUtf16(std::string& out, std::string_view bytes) {
  Utf16Decoder decoder;
  const auto take = [&](char32_t c) { AppendUtf8(out, c); };
  for (std::size_t at = 0; at + 2 <= bytes.size(); at += 2)
    decoder.Unit(LoadLittle<char16_t>(bytes.data() + at), take);
  decoder.End(take);
}

}  // namespace nvimport
