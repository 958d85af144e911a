#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Several files in one path: their paths one after the other, separated by line feeds.
class NVIMPORT_API FileSelection {
 public:
  // The one path for `files`. Throws an Exception for a name that holds a line feed itself, unless
  // it is the only one.
  static std::string Join(const std::vector<std::string>& files);

  // The files of `path`. A path that exists as it stands is that one file.
  static std::vector<std::string> Split(std::string_view path);
};

}  // namespace nvimport
