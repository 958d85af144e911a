#include "nvimport/framework/FileSelection.h"

#include <algorithm>

#include "nvimport/platform/Exception.h"
#include "nvimport/platform/NvFile.h"

namespace nvimport {

std::string FileSelection::Join(const std::vector<std::string>& files) {
  std::string path;
  for (const std::string& file : files) {
    if (files.size() > 1 && file.find('\n') != std::string::npos)
      throw Exception("A file whose name holds a line break can't be part of a selection.");
    if (!path.empty()) path += '\n';
    path += file;
  }
  return path;
}

std::vector<std::string> FileSelection::Split(std::string_view path) {
  if (NvFile::Exists(std::string(path).c_str())) return {std::string(path)};
  std::vector<std::string> files;
  while (true) {
    const std::size_t end = std::min(path.find('\n'), path.size());
    if (end > 0) files.emplace_back(path.substr(0, end));
    if (end == path.size()) break;
    path.remove_prefix(end + 1);
  }
  if (files.empty()) files.emplace_back();
  return files;
}

}  // namespace nvimport
