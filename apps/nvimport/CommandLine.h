#pragma once

#include <CLI/CLI.hpp>
#include <span>

#include "apps/nvimport/Commands.h"

namespace nvimport {

using Command = int (*)(const Settings& settings);

// A name and what it means.
struct Term {
  const char* name;
  const char* meaning;
};

constexpr Term kExitCodes[] = {
    {"0", "Done"},
    {"1", "A file could not be read or written"},
    {"2", "The command line is wrong"},
    {"3", "The format of a file is not recognised, or not certain"},
    {"4", "With --strict: there was a warning or a note"},
    {"5", "A file to read is not there"},
};

constexpr Term kEnvironment[] = {
    {"NO_COLOR", "Not empty: a terminal gets no colours"},
    {"NVIMPORT_LOG", "The file to which the library's log is appended"},
    {"NVIMPORT_PLUGIN_PATH", "Folders of plug-in libraries, apart by colons"},
    {"NVIMPORT_RULES", "kept: as --kept-rules"},
    {"XDG_CONFIG_HOME", "The folder with nvimport/config.toml; else ~/.config"},
    {"TMPDIR", "The folder for temporary files; else /tmp"},
};

// Defines all commands and their options on `app`, which must not outlive the others: parsing fills
// `settings` and makes `chosen` the command to run. Help, the manual page and the completions are
// made from what is said here. What can stand for a value is known by the name of its kind.
void DefineCommandLine(CLI::App& app, Settings& settings, Command& chosen);

// Parses the arguments of a program, its name first, and runs the command that they name. Returns
// the exit code.
int RunCommandLine(const std::vector<std::string>& arguments);

}  // namespace nvimport
