#include "nvimport/hosting/batch/FileWalk.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Detecting.h"
#include "nvimport/platform/FilePath.h"
#include "nvimport/platform/Files.h"

namespace nvimport {

namespace {

bool IsHidden(std::string_view name) { return name.starts_with('.'); }

bool HasFolder(std::string_view path) { return path.find('/') != std::string_view::npos; }

bool IsInHidden(std::string_view path) {
  return IsHidden(path) ? HasFolder(path) : path.find("/.") < path.rfind('/');
}

bool Fits(const std::string& pattern, const std::string& name, const std::string& below,
          PatternRules rules = {}) {
  const std::string& whole = HasFolder(pattern) ? below : name;
  return FitsPattern(pattern.c_str(), whole.c_str(), rules);
}

// What a folder holds under a name.
enum class Kind { kNone, kFile, kFolder, kLinkToFolder };

Kind KindOf(const std::string& path, std::optional<PathStatus::Kind> kind) {
  const PathStatus::Kind here = kind ? *kind : LinkStatusOf(path.c_str()).kind;
  if (here == PathStatus::kFile) return Kind::kFile;
  if (here == PathStatus::kFolder) return Kind::kFolder;
  if (here != PathStatus::kLink) return Kind::kNone;
  const PathStatus::Kind there = StatusOf(path.c_str()).kind;
  if (there == PathStatus::kFolder) return Kind::kLinkToFolder;
  return there == PathStatus::kFile ? Kind::kFile : Kind::kNone;
}

Failure NotRead(const std::string& folder) {
  const int error = errno;
  return Failure::OfSystem("The folder can't be read.", ShownName(folder), error);
}

std::optional<std::pair<unsigned long long, unsigned long long>> PlaceOf(const std::string& path) {
  const auto identity = IdentityOf(path.c_str());
  if (!identity) return std::nullopt;
  return std::pair<unsigned long long, unsigned long long>(identity->device, identity->number);
}

}  // namespace

FileWalk::FileWalk(WalkSettings settings) : settings_(std::move(settings)) {
  enters_hidden_ = std::ranges::any_of(settings_.include, IsInHidden);
  for (const std::string& path : settings_.left_out) {
    if (const auto place = PlaceOf(path)) left_out_.insert(*place);
  }
}

FoundFiles FileWalk::Find(const std::string& folder) {
  FoundFiles found;
  if (IsBelowLeftOut(folder)) {
    found.state = FoundFiles::kLeftOut;
  } else if (const auto place = PlaceOf(folder); place && visited_.contains(*place)) {
    found.state = FoundFiles::kRepeated;
  }
  if (found.state != FoundFiles::kTaken) return found;
  folders_ = {""};
  while (!folders_.empty() || !links_.empty()) {
    if (folders_.empty()) {
      // Which of several links is taken must not depend on the file system.
      std::ranges::sort(links_, std::greater());
      if (!IsBelowLeftOut(PathBelow(folder, links_.back())))
        folders_.push_back(std::move(links_.back()));
      links_.pop_back();
      continue;
    }
    const std::string below = std::move(folders_.back());
    folders_.pop_back();
    Enter(folder, below, found);
  }
  std::ranges::sort(found.files);
  std::ranges::sort(found.failures, {}, &Failure::where);
  return found;
}

void FileWalk::Enter(const std::string& folder, const std::string& below, FoundFiles& found) {
  const std::string path = below.empty() ? folder : PathBelow(folder, below);
  const auto enters = [this](const FileIdentity& found_folder) {
    const Place place{found_folder.device, found_folder.number};
    return !left_out_.contains(place) && visited_.insert(place).second;
  };
  const auto take = [&](const FolderEntry& entry) {
    const std::string its_path = PathBelow(path, entry.name);
    Kind kind = KindOf(its_path, entry.kind);
    std::string its_below = below.empty() ? entry.name : PathBelow(below, entry.name);
    // Who includes only files in such a folder means these.
    if ((kind == Kind::kFolder || kind == Kind::kLinkToFolder) && IsOneInput(its_path) &&
        (IsWanted(entry.name, its_below) || IsExcluded(entry.name, its_below)))
      kind = Kind::kFile;
    if (kind == Kind::kFile) {
      if (IsWanted(entry.name, its_below) && !IsLeftOut(its_path, entry.number))
        found.files.push_back(std::move(its_below));
    } else if (kind != Kind::kNone && settings_.is_recursive &&
               (enters_hidden_ || !IsHidden(entry.name)) && !IsExcludedWhole(its_below)) {
      (kind == Kind::kFolder ? folders_ : links_).push_back(std::move(its_below));
    }
  };
  if (!ListFolder(path.c_str(), enters, take)) found.failures.push_back(NotRead(path));
}

bool FileWalk::IsBelowLeftOut(const std::string& folder) const {
  if (left_out_.empty()) return false;
  std::error_code none;
  std::filesystem::path path = std::filesystem::canonical(FilePath(folder), none);
  for (bool goes_on = !path.empty(); goes_on; path = path.parent_path()) {
    if (const auto place = PlaceOf(PathText(path)); place && left_out_.contains(*place))
      return true;
    goes_on = path.has_relative_path();
  }
  return false;
}

bool FileWalk::IsLeftOut(const std::string& path, unsigned long long file) const {
  const auto is_it = [&](const Place& place) { return file == 0 || place.second == file; };
  if (std::ranges::none_of(left_out_, is_it)) return false;
  const auto place = PlaceOf(path);
  return place && left_out_.contains(*place);
}

bool FileWalk::IsExcluded(const std::string& name, const std::string& below) const {
  return std::ranges::any_of(
      settings_.exclude, [&](const std::string& pattern) { return Fits(pattern, name, below); });
}

bool FileWalk::IsWanted(const std::string& name, const std::string& below) const {
  const auto fits = [&](const std::string& pattern) {
    return Fits(pattern, name, below, {.keeps_points = true});
  };
  if (IsExcluded(name, below)) return false;
  if (!IsInHidden(below))
    return settings_.include.empty() ? !IsHidden(name)
                                     : std::ranges::any_of(settings_.include, fits);
  return std::ranges::any_of(settings_.include, [&](const std::string& pattern) {
    return HasFolder(pattern) &&
           Fits(pattern, name, below, {.keeps_points = true, .keeps_folders = true});
  });
}

// A pattern that ends so fits all that is below a folder that it fits.
bool FileWalk::IsExcludedWhole(const std::string& below) const {
  return std::ranges::any_of(settings_.exclude, [&](const std::string& pattern) {
    return HasFolder(pattern) && pattern.ends_with('*') && Fits(pattern, below, below);
  });
}

bool IsFolderOfFiles(const std::string& path) {
  return StatusOf(path.c_str()).kind == PathStatus::kFolder && !IsOneInput(path);
}

std::string PathBelow(const std::string& folder, const std::string& below) {
  const bool has_end = !folder.empty() && kFolderEnds.find(folder.back()) != std::string_view::npos;
  return has_end ? folder + below : folder + "/" + below;
}

}  // namespace nvimport
