#pragma once

#include <string>

#include "nvimport/platform/Export.h"

namespace nvimport {

// The settings that outlast the process: an INI file "nvimport/settings.ini" in the user's
// configuration folder ($XDG_CONFIG_HOME, else ~/.config).
class NVIMPORT_API Profile {
 public:
  // The number stored under `key`, or `otherwise` when there is none.
  static int GetInt(const std::string& section, const std::string& key, int otherwise);

  // Stores a number. The file is written whole and renamed, so that it is never seen half written.
  // False when it could not be stored.
  static bool WriteInt(const std::string& section, const std::string& key, int value);
};

}  // namespace nvimport
