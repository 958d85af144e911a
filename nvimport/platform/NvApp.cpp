#include "nvimport/platform/NvApp.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "nvimport/platform/DynamicLibrary.h"

namespace nvimport {

namespace {
std::string& GivenName() {
  static std::string name;
  return name;
}

std::vector<std::string>& AddedFolders() {
  static std::vector<std::string> folders;
  return folders;
}

std::filesystem::path FolderBesideLibrary(const char* name) {
  const std::string own =
      DynamicLibrary::PathOf(reinterpret_cast<const void*>(&NvApp::GetPluginDirectory));
  return std::filesystem::path(own).parent_path() / "nvimport" / name;
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
  } else {
    folders.push_back(FolderBesideLibrary("plugins"));
  }
  folders.insert(folders.end(), AddedFolders().begin(), AddedFolders().end());
  return folders;
}

void NvApp::AddPluginDirectory(const std::string& folder) { AddedFolders().push_back(folder); }

std::string NvApp::GetCompleteDirectory() { return FolderBesideLibrary("complete"); }

std::string NvApp::GetCompleteLibrary() {
  return std::filesystem::path(GetCompleteDirectory()) / "nvimport-complete.so";
}

}  // namespace nvimport
