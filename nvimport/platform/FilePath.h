#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace nvimport {

// A path between the texts of our interfaces and the standard library's, whose own conversion is
// not from UTF-8 on every system.
std::filesystem::path FilePath(std::string_view text);
std::string PathText(const std::filesystem::path& path);

}  // namespace nvimport
