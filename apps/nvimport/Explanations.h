#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nvimport/framework/FormatDetection.h"

namespace nvimport {

// What the command says of its own accord about formats.

// Why the formats' answers about the file at `path` came to what `detection` says.
std::string DetectionReason(const Detection& detection, const std::string& path);

// What --option takes for a format, beside what it asks.
std::vector<std::string> OptionsOf(std::string_view format);
bool HasOption(std::string_view format, std::string_view key);

}  // namespace nvimport
