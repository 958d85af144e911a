#include "nvimport/platform/Profile.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <vector>

#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Paths.h"
#include "nvimport/platform/System.h"

namespace nvimport {

namespace {

namespace fs = std::filesystem;

// Empty when the user has no folder for settings.
fs::path SettingsFile() {
  const std::string folder = SettingsFolder();
  return folder.empty() ? fs::path() : FilePath(folder) / "nvimport" / "settings.ini";
}

// The file as lines, and where a key stands or would stand in them.
struct Settings {
  std::vector<std::string> lines;

  explicit Settings(const fs::path& path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
  }

  struct Place {
    std::size_t line;
    bool has_section;
    bool has_key;
  };

  Place Find(const std::string& section, const std::string& key) const {
    bool inside = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (lines[i].starts_with('[')) {
        if (inside) return {i, true, false};
        inside = EqualIgnoringCase(lines[i], "[" + section + "]");
      } else if (inside && EqualIgnoringCase(lines[i].substr(0, lines[i].find('=')), key)) {
        return {i, true, true};
      }
    }
    return {lines.size(), inside, false};
  }
};

}  // namespace

int Profile::GetInt(const std::string& section, const std::string& key, int otherwise) {
  const Settings settings(SettingsFile());
  const Settings::Place place = settings.Find(section, key);
  if (!place.has_key) return otherwise;
  const std::string& line = settings.lines[place.line];
  const char* const end = line.data() + line.size();
  int value = otherwise;
  const auto parsed = std::from_chars(line.data() + line.find('=') + 1, end, value);
  return parsed.ec == std::errc() && parsed.ptr == end ? value : otherwise;
}

bool Profile::WriteInt(const std::string& section, const std::string& key, int value) {
  const fs::path path = SettingsFile();
  if (path.empty()) return false;
  std::error_code error;
  fs::create_directories(path.parent_path(), error);

  Settings settings(path);
  const Settings::Place place = settings.Find(section, key);
  const std::string line = key + "=" + std::to_string(value);
  if (place.has_key) {
    settings.lines[place.line] = line;
  } else {
    auto at = settings.lines.begin() + static_cast<std::ptrdiff_t>(place.line);
    at = settings.lines.insert(at, line);
    if (!place.has_section) settings.lines.insert(at, "[" + section + "]");
  }

  const fs::path part = FilePath(PathText(path) + "." + std::to_string(ProcessNumber()));
  std::ofstream file(part);
  for (const std::string& kept : settings.lines) file << kept << '\n';
  file.close();
  if (!file || !MoveOver(PathText(part), PathText(path))) {
    fs::remove(part, error);
    return false;
  }
  return true;
}

}  // namespace nvimport
