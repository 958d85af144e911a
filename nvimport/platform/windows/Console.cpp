#include "nvimport/platform/Console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "nvimport/platform/windows/WideText.h"

namespace nvimport {

namespace {

HANDLE HandleOf(int stream) {
  return ::GetStdHandle(stream == kInputStream    ? STD_INPUT_HANDLE
                        : stream == kOutputStream ? STD_OUTPUT_HANDLE
                                                  : STD_ERROR_HANDLE);
}

UINT page_before = 0;

}  // namespace

std::vector<std::string> ProgramArguments(int, char**) {
  int count = 0;
  wchar_t** const wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 0; i < count; ++i) arguments.push_back(Narrow(wide[i]));
  ::LocalFree(wide);
  return arguments;
}

void SettleStreams() {
  for (const int stream : {kInputStream, kOutputStream, kErrorStream})
    ::_setmode(stream, _O_BINARY);
  if (!IsTerminal(kOutputStream) && !IsTerminal(kErrorStream)) return;
  page_before = ::GetConsoleOutputCP();
  ::SetConsoleOutputCP(CP_UTF8);
  std::atexit([] { ::SetConsoleOutputCP(page_before); });
}

// Other devices, such as NUL, are none.
bool IsTerminal(int stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(HandleOf(stream), &mode) != 0;
}

bool IsClearableTerminal(int stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(HandleOf(stream), &mode) != 0 &&
         ((mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0 ||
          ::SetConsoleMode(HandleOf(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0);
}

std::optional<std::size_t> TerminalColumns(int stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (::GetConsoleScreenBufferInfo(HandleOf(stream), &info) == 0) return std::nullopt;
  return static_cast<std::size_t>(std::max(info.srWindow.Right - info.srWindow.Left + 1, 1));
}

std::optional<std::string> ReadTerminalLine(bool is_secret) {
  static const HANDLE keys =
      ::CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
  DWORD before = 0;
  if (::GetConsoleMode(keys, &before) == 0) return std::nullopt;
  const DWORD echo = is_secret ? 0 : ENABLE_ECHO_INPUT;
  ::SetConsoleMode(keys, ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT | echo);
  std::wstring line;
  std::array<wchar_t, 512> typed;
  DWORD count = 1;
  while (count > 0 && !line.ends_with(L'\n') &&
         ::ReadConsoleW(keys, typed.data(), static_cast<DWORD>(typed.size()), &count, nullptr) != 0)
    line.append(typed.data(), count);
  ::SetConsoleMode(keys, before);
  constexpr wchar_t kEndKey = 0x1a;
  if (line.empty() || line.front() == kEndKey) return std::nullopt;
  while (line.ends_with(L'\n') || line.ends_with(L'\r')) line.pop_back();
  return Narrow(line);
}

}  // namespace nvimport
