#include "nvimport/platform/Console.h"

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "nvimport/platform/System.h"

namespace nvimport {

std::vector<std::string> ProgramArguments(int count, char** arguments) {
  return {arguments, arguments + count};
}

void SettleStreams() {}

bool IsTerminal(int stream) { return ::isatty(stream) == 1; }

bool IsClearableTerminal(int stream) {
  const std::string terminal = Setting("TERM");
  return IsTerminal(stream) && !terminal.empty() && terminal != "dumb";
}

std::optional<std::size_t> TerminalColumns(int stream) {
  struct winsize size {};
  if (!IsTerminal(stream) || ::ioctl(stream, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
    return std::nullopt;
  return size.ws_col;
}

std::optional<std::string> ReadTerminalLine(bool is_secret) {
  struct termios before {};
  const bool is_hidden = is_secret && ::tcgetattr(kInputStream, &before) == 0;
  struct termios silent = before;
  silent.c_lflag &= ~static_cast<::tcflag_t>(ECHO);
  if (is_hidden) ::tcsetattr(kInputStream, TCSAFLUSH, &silent);
  std::string line;
  const bool is_read = static_cast<bool>(std::getline(std::cin, line));
  if (is_hidden) ::tcsetattr(kInputStream, TCSAFLUSH, &before);
  return is_read ? std::optional(line) : std::nullopt;
}

}  // namespace nvimport
