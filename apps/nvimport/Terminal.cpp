#include "apps/nvimport/Terminal.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace nvimport {

namespace {

bool IsDumb() {
  const char* terminal = std::getenv("TERM");
  return terminal == nullptr || std::string_view(terminal) == "dumb";
}

}  // namespace

bool CanAsk() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

bool ErrorsGoToScreen() { return ::isatty(STDERR_FILENO) == 1 && !IsDumb(); }

bool DataGoesToScreen() { return ::isatty(STDOUT_FILENO) == 1 && !IsDumb(); }

bool WantsColour() {
  const char* no_colour = std::getenv("NO_COLOR");
  return no_colour == nullptr || *no_colour == '\0';
}

std::size_t TerminalWidth() {
  constexpr std::size_t kUsual = 80;
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
    struct winsize size {};
    if (::isatty(descriptor) != 1) continue;
    if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  }
  return kUsual;
}

std::optional<std::string> ReadAnswer() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  return line;
}

std::optional<std::string> ReadSecret() {
  struct termios before {};
  const bool is_terminal = ::tcgetattr(STDIN_FILENO, &before) == 0;
  struct termios silent = before;
  silent.c_lflag &= ~static_cast<::tcflag_t>(ECHO);
  if (is_terminal) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  std::optional<std::string> line = ReadAnswer();
  if (is_terminal) ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  return line;
}

}  // namespace nvimport
