#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace nvimport {

// What became of opening an encrypted workbook.
enum class Unlocking { kOpened, kNoPassword, kWrongPassword, kCancelled };

// Tries the password of workbooks that have none of their own, then asks for others, a few times.
// `unlock` says whether one is right.
Unlocking UnlockWorkbook(const std::string& path,
                         const std::function<bool(const std::string& password)>& unlock);

// The password in UTF-16LE, as most keys are made of it.
std::string WidePassword(std::string_view utf8);

}  // namespace nvimport
