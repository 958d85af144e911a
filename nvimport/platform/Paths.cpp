#include "nvimport/platform/Paths.h"

#include <algorithm>

#include "nvimport/platform/System.h"

namespace nvimport {

namespace {
// std::tolower would follow the locale.
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
}  // namespace

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(a, b, {}, Lower, Lower);
}

std::string FileName(std::string_view path) {
  const std::size_t slash = path.find_last_of(kFolderEnds);
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string NvGetFileExtension(std::string_view path) {
  const std::string name = FileName(path);
  const std::size_t point = name.rfind('.');
  return point == std::string::npos ? std::string() : name.substr(point + 1);
}

}  // namespace nvimport
