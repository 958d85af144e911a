#include "apps/nvimport/SheetPaths.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <string_view>

#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {

// A point too: of those in the whole name the last two have a meaning.
std::string SafeName(std::string_view name) {
  constexpr std::size_t kLongest = 100;
  std::string safe;
  while (!name.empty()) {
    const std::size_t size = CharacterSize(name);
    if (safe.size() + size > kLongest) break;
    const bool is_plain =
        size > 1 || (size == 1 && std::iscntrl(static_cast<unsigned char>(name[0])) == 0 &&
                     std::string_view("/\\:*?\"<>|.").find(name[0]) == std::string_view::npos);
    safe += is_plain ? name.substr(0, size) : "_";
    name.remove_prefix(std::max<std::size_t>(size, 1));
  }
  safe.erase(0, std::min(safe.find_first_not_of(' '), safe.size()));
  safe.erase(safe.find_last_not_of(' ') + 1);
  return safe.empty() ? "_" : safe;
}

}  // namespace

std::vector<std::string> SheetPaths(const std::string& path, const std::vector<std::string>& names,
                                    const std::unordered_set<std::string>& taken) {
  const std::string extension = PathText(FilePath(path).extension());
  const std::string stem = path.substr(0, path.size() - extension.size());
  std::unordered_set<std::string> own;  // without regard to case, as on other systems
  std::vector<std::string> paths;
  for (const std::string& name : names) {
    const std::string safe = SafeName(name);
    std::string tried;
    for (int i = 1;; ++i) {
      tried = stem;
      tried.append(".").append(safe);
      if (i > 1) tried.append("_").append(std::to_string(i));
      tried += extension;
      std::string lower = tried;
      std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
      if (!taken.contains(tried) && own.insert(lower).second) break;
    }
    paths.push_back(tried);
  }
  return paths;
}

}  // namespace nvimport
