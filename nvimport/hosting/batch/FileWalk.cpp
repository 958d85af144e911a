#include "nvimport/hosting/batch/FileWalk.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/import/Detecting.h"

namespace nvimport {

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

bool IsHidden(std::string_view name) { return name.starts_with('.'); }

bool HasFolder(std::string_view path) { return path.find('/') != std::string_view::npos; }

bool IsInHidden(std::string_view path) {
  return IsHidden(path) ? HasFolder(path) : path.find("/.") < path.rfind('/');
}

bool Fits(const std::string& pattern, const std::string& name, const std::string& below,
          int flags) {
  const std::string& whole = HasFolder(pattern) ? below : name;
  return ::fnmatch(pattern.c_str(), whole.c_str(), flags) == 0;
}

// What a folder holds under a name.
enum class Kind { kNone, kFile, kFolder, kLinkToFolder };

Kind KindOf(const std::string& path, unsigned char type) {
  struct stat status {};
  if (type == DT_LNK || type == DT_UNKNOWN) {
    if (::lstat(path.c_str(), &status) != 0) return Kind::kNone;
    type = IFTODT(status.st_mode);
  }
  if (type == DT_REG) return Kind::kFile;
  if (type == DT_DIR) return Kind::kFolder;
  if (type != DT_LNK || ::stat(path.c_str(), &status) != 0) return Kind::kNone;
  if (S_ISDIR(status.st_mode)) return Kind::kLinkToFolder;
  return S_ISREG(status.st_mode) ? Kind::kFile : Kind::kNone;
}

Failure NotRead(const std::string& folder) {
  const int error = errno;
  return Failure::OfSystem("The folder can't be read.", ShownName(folder), error);
}

}  // namespace

FileWalk::FileWalk(WalkSettings settings) : settings_(std::move(settings)) {
  enters_hidden_ = std::ranges::any_of(settings_.include, IsInHidden);
  for (const std::string& path : settings_.left_out) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) left_out_.insert({status.st_dev, status.st_ino});
  }
}

FoundFiles FileWalk::Find(const std::string& folder) {
  FoundFiles found;
  struct stat status {};
  if (IsBelowLeftOut(folder)) {
    found.state = FoundFiles::kLeftOut;
  } else if (::stat(folder.c_str(), &status) == 0 &&
             visited_.contains({status.st_dev, status.st_ino})) {
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
  const std::unique_ptr<DIR, CloseFolder> stream(::opendir(path.c_str()));
  struct stat status {};
  if (stream == nullptr || ::fstat(::dirfd(stream.get()), &status) != 0) {
    found.failures.push_back(NotRead(path));
    return;
  }
  const Place place{status.st_dev, status.st_ino};
  if (left_out_.contains(place) || !visited_.insert(place).second) return;
  errno = 0;
  for (const ::dirent* entry = nullptr; (entry = ::readdir(stream.get())) != nullptr; errno = 0) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    const std::string its_path = PathBelow(path, name);
    Kind kind = KindOf(its_path, entry->d_type);
    std::string its_below = below.empty() ? name : PathBelow(below, name);
    // Who includes only files in such a folder means these.
    if ((kind == Kind::kFolder || kind == Kind::kLinkToFolder) && IsOneInput(its_path) &&
        (IsWanted(name, its_below) || IsExcluded(name, its_below)))
      kind = Kind::kFile;
    if (kind == Kind::kFile) {
      if (IsWanted(name, its_below) && !IsLeftOut(its_path, entry->d_ino))
        found.files.push_back(std::move(its_below));
    } else if (kind != Kind::kNone && settings_.is_recursive &&
               (enters_hidden_ || !IsHidden(name)) && !IsExcludedWhole(its_below)) {
      (kind == Kind::kFolder ? folders_ : links_).push_back(std::move(its_below));
    }
  }
  if (errno != 0) found.failures.push_back(NotRead(path));
}

bool FileWalk::IsBelowLeftOut(const std::string& folder) const {
  if (left_out_.empty()) return false;
  std::error_code none;
  std::filesystem::path path = std::filesystem::canonical(folder, none);
  for (bool goes_on = !path.empty(); goes_on; path = path.parent_path()) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && left_out_.contains({status.st_dev, status.st_ino}))
      return true;
    goes_on = path.has_relative_path();
  }
  return false;
}

bool FileWalk::IsLeftOut(const std::string& path, unsigned long long file) const {
  if (std::ranges::none_of(left_out_, [&](const Place& place) { return place.second == file; }))
    return false;
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && left_out_.contains({status.st_dev, status.st_ino});
}

bool FileWalk::IsExcluded(const std::string& name, const std::string& below) const {
  return std::ranges::any_of(
      settings_.exclude, [&](const std::string& pattern) { return Fits(pattern, name, below, 0); });
}

bool FileWalk::IsWanted(const std::string& name, const std::string& below) const {
  const auto fits = [&](int flags) {
    return [&, flags](const std::string& pattern) { return Fits(pattern, name, below, flags); };
  };
  if (IsExcluded(name, below)) return false;
  if (!IsInHidden(below))
    return settings_.include.empty() ? !IsHidden(name)
                                     : std::ranges::any_of(settings_.include, fits(FNM_PERIOD));
  return std::ranges::any_of(settings_.include, [&](const std::string& pattern) {
    return HasFolder(pattern) && Fits(pattern, name, below, FNM_PERIOD | FNM_PATHNAME);
  });
}

// A pattern that ends so fits all that is below a folder that it fits.
bool FileWalk::IsExcludedWhole(const std::string& below) const {
  return std::ranges::any_of(settings_.exclude, [&](const std::string& pattern) {
    return HasFolder(pattern) && pattern.ends_with('*') && Fits(pattern, below, below, 0);
  });
}

bool IsFolderOfFiles(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && !IsOneInput(path);
}

std::string PathBelow(const std::string& folder, const std::string& below) {
  return folder.ends_with('/') ? folder + below : folder + "/" + below;
}

}  // namespace nvimport
