#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace nvimport {

// What the standard streams are.

bool CanAsk();            // someone can answer
bool ErrorsGoToScreen();  // standard error is a terminal
bool DataGoesToScreen();  // standard output is a terminal
// Whether a terminal's user wants colours.
bool WantsColour();
// Of the terminal that standard output or else standard error is; 80 without one.
std::size_t TerminalWidth();
// A line from standard input, none at its end.
std::optional<std::string> ReadAnswer();
// The same, which the terminal does not show.
std::optional<std::string> ReadSecret();

}  // namespace nvimport
