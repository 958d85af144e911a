#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace nvimport {

// A program's arguments, streams and terminal, for commands.

inline constexpr int kInputStream = 0;
inline constexpr int kOutputStream = 1;
inline constexpr int kErrorStream = 2;

// The arguments in UTF-8, where the system knows what its bytes mean.
std::vector<std::string> ProgramArguments(int count, char** arguments);

// Has the streams carry bytes as they are, and a terminal show UTF-8.
void SettleStreams();

bool IsTerminal(int stream);
// The same of one that knows control sequences.
bool IsClearableTerminal(int stream);
std::optional<std::size_t> TerminalColumns(int stream);

// A line from the terminal that standard input is, none at its end. One that is secret is not
// shown.
std::optional<std::string> ReadTerminalLine(bool is_secret);

}  // namespace nvimport
