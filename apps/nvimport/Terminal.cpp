#include "apps/nvimport/Terminal.h"

#include "nvimport/platform/Console.h"
#include "nvimport/platform/System.h"

namespace nvimport {

bool CanAsk() { return IsTerminal(kInputStream) && IsTerminal(kErrorStream); }

bool ErrorsGoToScreen() { return IsClearableTerminal(kErrorStream); }

bool DataGoesToScreen() { return IsClearableTerminal(kOutputStream); }

bool WantsColour() { return Setting("NO_COLOR").empty(); }

std::size_t TerminalWidth() {
  constexpr std::size_t kUsual = 80;
  for (const int stream : {kOutputStream, kErrorStream})
    if (const auto columns = TerminalColumns(stream)) return *columns;
  return kUsual;
}

std::optional<std::string> ReadAnswer() { return ReadTerminalLine(/*is_secret=*/false); }

std::optional<std::string> ReadSecret() { return ReadTerminalLine(/*is_secret=*/true); }

}  // namespace nvimport
