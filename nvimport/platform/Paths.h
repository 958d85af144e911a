#pragma once

#include <string>
#include <string_view>

#include "nvimport/platform/Export.h"

namespace nvimport {

// True when the two are equal but for the case of ASCII letters.
NVIMPORT_API bool EqualIgnoringCase(std::string_view a, std::string_view b);

// The name of the file at `path`, without its folders.
NVIMPORT_API std::string FileName(std::string_view path);

// What follows the last point of the file's name, "txt"; empty for a name without one.
NVIMPORT_API std::string NvGetFileExtension(std::string_view path);

}  // namespace nvimport
