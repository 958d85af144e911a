#pragma once

#include <string>
#include <string_view>

namespace nvimport {

// Text between UTF-8 and what the system takes.
std::wstring Wide(std::string_view text);
std::string Narrow(std::wstring_view text);

// A path as the system takes one of any length: whole, with back slashes, behind "\\?\".
std::wstring WidePath(std::string_view path);

}  // namespace nvimport
