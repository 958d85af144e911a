#include "nvimport/formats/workbook/WorkbookPassword.h"

#include <optional>

#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

Unlocking UnlockWorkbook(const std::string& path,
                         const std::function<bool(const std::string& password)>& unlock) {
  // Of workbooks whose structure only is protected.
  if (unlock("VelvetSweatshop")) return Unlocking::kOpened;
  constexpr int kMostTries = 3;
  PasswordQuestion question{.path = path};
  for (int i = 0; i < kMostTries; ++i) {
    const std::optional<std::string> password = Dialogs::Current().AskPassword(question);
    if (!password) return Unlocking::kCancelled;
    if (password->empty()) break;
    if (unlock(*password)) return Unlocking::kOpened;
    question.is_again = true;
  }
  return question.is_again ? Unlocking::kWrongPassword : Unlocking::kNoPassword;
}

std::string WidePassword(std::string_view utf8) {
  const bool is_utf8 = IsUtf8(utf8);
  std::string wide;
  const auto add = [&](char32_t unit) {
    wide += static_cast<char>(unit & 0xFF);
    wide += static_cast<char>(unit >> 8 & 0xFF);
  };
  while (!utf8.empty()) {
    char32_t c = static_cast<unsigned char>(utf8.front());
    if (is_utf8)
      c = TakeCharacter(utf8);
    else
      utf8.remove_prefix(1);
    if (c >= 0x10000) {
      add(0xD800 + ((c - 0x10000) >> 10));
      c = 0xDC00 + ((c - 0x10000) & 0x3FF);
    }
    add(c);
  }
  return wide;
}

}  // namespace nvimport
