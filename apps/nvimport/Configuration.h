#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "nvimport/hosting/Failure.h"

namespace nvimport {

// The options that a user always gives, from a file: a section for each command, whose keys are its
// options without the dashes.

// The file that is read where none is named, empty where there is no place for one.
std::string UsualConfiguration();

// Gives `command`, whose command line is parsed, the options that stand in the file at `path` and
// not on the command line. A file that is not there is a failure only if it was named.
std::optional<Failure> TakeConfiguration(CLI::App& app, CLI::App& command, const std::string& path,
                                         bool is_named);

}  // namespace nvimport
