#include "nvimport/platform/Danger.h"

#include <sys/stat.h>
#include <unistd.h>

#include <deque>
#include <filesystem>

namespace nvimport {

const char* DangerOf(const std::string& path) {
  namespace fs = std::filesystem;
  constexpr const char* kShared = "everybody may write there";
  constexpr int kMostLinks = 40;  // as the system has it
  const fs::path whole(path);
  if (!whole.is_absolute()) return "it depends on the working folder";
  std::deque<fs::path> ahead(whole.begin(), whole.end());
  fs::path reached;
  struct ::stat folder {};
  int links = 0;
  while (!ahead.empty()) {
    const fs::path name = ahead.front();
    ahead.pop_front();
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      reached = reached.parent_path();
      if (::lstat(reached.c_str(), &folder) != 0) return nullptr;
      continue;
    }
    const fs::path next = reached / name;
    struct ::stat found {};
    if (::lstat(next.c_str(), &found) != 0) return nullptr;  // nothing is there to be loaded
    // In a folder of everybody's, such as /tmp, what is marked as its owner's stays so.
    const bool is_own = found.st_uid == 0 || found.st_uid == ::geteuid();
    if ((folder.st_mode & S_IWOTH) != 0 && ((folder.st_mode & S_ISVTX) == 0 || !is_own))
      return kShared;
    if (S_ISLNK(found.st_mode)) {
      if (next.string().starts_with("/proc/")) return "it depends on the process";
      std::error_code error;
      const fs::path target = fs::read_symlink(next, error);
      if (error || ++links > kMostLinks) return nullptr;
      ahead.insert(ahead.begin(), target.begin(), target.end());
      if (!target.is_absolute()) continue;
      reached.clear();
      folder = {};
      continue;
    }
    reached = next;
    folder = found;
  }
  return (folder.st_mode & S_IWOTH) != 0 ? kShared : nullptr;
}

}  // namespace nvimport
