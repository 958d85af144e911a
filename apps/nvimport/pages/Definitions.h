#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace nvimport {

// The command's definitions, as the manual page and the completions take them from the parser.

struct OptionPage {
  std::vector<std::string> names;  // "-o", "--output"; of what is no option "FILE"
  std::string value;               // the kind of its value, empty for a flag
  std::string description;
  std::string environment;  // the variable that sets it too
  bool repeats = false;
};

struct CommandPage {
  std::string name;
  std::string description;
  std::string footer;
  std::vector<OptionPage> options;
  std::vector<OptionPage> positionals;
};

// The command itself, or one of its commands.
CommandPage PageOf(const CLI::App& command);
std::vector<CommandPage> CommandPages(const CLI::App& app);

// The built-in formats that have a reader or a writer, by their positions in the list.
std::vector<int> FormatsWith(bool writer);

// What can stand for a value.
struct Values {
  enum Kind { kUnknown, kFiles, kFolders, kWords };
  Kind kind = kUnknown;
  std::vector<std::string> words;
};
Values ValuesOf(const OptionPage& option);

// Each is a whole file.
std::string ManualPage(const CLI::App& app);
std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);
std::string FishCompletion(const CLI::App& app);
std::string PowerShellCompletion(const CLI::App& app);

}  // namespace nvimport
