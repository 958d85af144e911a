#include "platform/NvApp.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "platform/DynamicLibrary.h"

namespace {
std::string& GivenName() {
  static std::string name;
  return name;
}
}  // namespace

std::string NvApp::GetName() {
  return GivenName().empty() ? program_invocation_short_name : GivenName();
}

void NvApp::SetName(const std::string& name) { GivenName() = name; }

std::vector<std::string> NvApp::GetPluginDirectory() {
  std::vector<std::string> folders;
  if (const char* given = std::getenv("NVIMPORT_PLUGIN_PATH")) {
    std::istringstream path(given);
    for (std::string folder; std::getline(path, folder, ':');)
      if (!folder.empty()) folders.push_back(folder);
    return folders;
  }
  const std::string own =
      DynamicLibrary::PathOf(reinterpret_cast<const void*>(&NvApp::GetPluginDirectory));
  folders.push_back(std::filesystem::path(own).parent_path() / "nvimport" / "plugins");
  return folders;
}
