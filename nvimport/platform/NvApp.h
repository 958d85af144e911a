#pragma once

#include <string>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// What the library asks of the application that it runs in.
class NVIMPORT_API NvApp {
 public:
  // The folders that plug-in libraries are looked for in, in order: those of the environment
  // variable NVIMPORT_PLUGIN_PATH, separated by ':', else nvimport/plugins beside this library.
  static std::vector<std::string> GetPluginDirectory();

  // Adds a folder to them, behind the others. It counts for lists of formats built afterwards.
  static void AddPluginDirectory(const std::string& folder);

  // Where NvImport Complete lies, beside this library: formats that keep no habits which cost
  // cells. Nothing is loaded from there unless a host adds the folder. Where it is linked into the
  // program, its formats stand for the folder.
  static std::string GetCompleteDirectory();

  // Its file in that folder.
  static std::string GetCompleteLibrary();

  // The name under which the application speaks to its user, the title of its messages; at first
  // that of the program.
  static std::string GetName();
  static void SetName(const std::string& name);
};

}  // namespace nvimport
