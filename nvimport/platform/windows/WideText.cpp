#include "nvimport/platform/windows/WideText.h"

#include <windows.h>

#include <algorithm>

namespace nvimport {

std::wstring Wide(std::string_view text) {
  const auto size = static_cast<int>(text.size());
  const int count = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(count), L'\0');
  ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), count);
  return wide;
}

std::string Narrow(std::wstring_view text) {
  const auto size = static_cast<int>(text.size());
  const int count =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(count), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), count, nullptr, nullptr);
  return narrow;
}

std::wstring WidePath(std::string_view path) {
  std::wstring wide = Wide(path);
  // Short ones mean what they always did: devices, folders of the drive, the working folder.
  constexpr std::size_t kLongestPlain = 240;
  if (wide.size() < kLongestPlain || wide.starts_with(LR"(\\?\)")) return wide;
  std::ranges::replace(wide, L'/', L'\\');
  const DWORD room = ::GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr);
  std::wstring whole(room, L'\0');
  whole.resize(::GetFullPathNameW(wide.c_str(), room, whole.data(), nullptr));
  if (whole.starts_with(LR"(\\)")) return LR"(\\?\UNC)" + whole.substr(1);
  return LR"(\\?\)" + whole;
}

}  // namespace nvimport
