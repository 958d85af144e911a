#include "nvimport/platform/NvApp.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "nvimport/platform/DynamicLibrary.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Immortal.h"
#include "nvimport/platform/LibraryLock.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {
// What the host said of itself.
struct Host {
  std::string name;
  std::vector<std::string> plugin_folders;
};

std::string FolderBesideLibrary(const char* name) {
  const std::string own =
      DynamicLibrary::PathOf(reinterpret_cast<const void*>(&NvApp::GetPluginDirectory));
  return PathText(FilePath(own).parent_path() / "nvimport" / name);
}

}  // namespace

std::string NvApp::GetName() {
  const LibraryLock lock;
  const std::string& name = Immortal<Host>().name;
  return name.empty() ? ProgramName() : name;
}

void NvApp::SetName(const std::string& name) {
  const LibraryLock lock;
  Immortal<Host>().name = name;
}

std::vector<std::string> NvApp::GetPluginDirectory() {
  std::vector<std::string> folders;
  if (std::getenv("NVIMPORT_PLUGIN_PATH") != nullptr) {
    std::istringstream path(Setting("NVIMPORT_PLUGIN_PATH"));
    for (std::string folder; std::getline(path, folder, kFolderSeparator);)
      if (!folder.empty()) folders.push_back(folder);
  } else {
    folders.push_back(FolderBesideLibrary("plugins"));
  }
  const LibraryLock lock;
  const std::vector<std::string>& added = Immortal<Host>().plugin_folders;
  folders.insert(folders.end(), added.begin(), added.end());
  return folders;
}

void NvApp::AddPluginDirectory(const std::string& folder) {
  const LibraryLock lock;
  Immortal<Host>().plugin_folders.push_back(folder);
}

std::string NvApp::GetCompleteDirectory() { return FolderBesideLibrary("complete"); }

std::string NvApp::GetCompleteLibrary() {
  const std::string name = std::string("nvimport-complete") + kLibrarySuffix;
  return PathText(FilePath(GetCompleteDirectory()) / name);
}

}  // namespace nvimport
