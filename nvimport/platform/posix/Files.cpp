#include "nvimport/platform/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "nvimport/platform/FilePath.h"

namespace nvimport {

namespace {

PathStatus::Kind KindOf(::mode_t mode) {
  if (S_ISREG(mode)) return PathStatus::kFile;
  if (S_ISDIR(mode)) return PathStatus::kFolder;
  if (S_ISLNK(mode)) return PathStatus::kLink;
  return S_ISFIFO(mode) ? PathStatus::kPipe : PathStatus::kOther;
}

PathStatus StatusFrom(int result, const struct stat& status) {
  constexpr std::int64_t kNano = 1'000'000'000;
  if (result != 0) return {};
  return {KindOf(status.st_mode),
          {status.st_dev, status.st_ino},
          static_cast<std::uint64_t>(status.st_size),
          status.st_mtim.tv_sec * kNano + status.st_mtim.tv_nsec};
}

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

::mode_t UsualMode() {
  static const ::mode_t mask = [] {
    const ::mode_t old = ::umask(0);
    ::umask(old);
    return old;
  }();
  return 0666 & ~mask;
}

}  // namespace

std::filesystem::path FilePath(std::string_view text) { return text; }

std::string PathText(const std::filesystem::path& path) { return path.native(); }

PathStatus StatusOf(const char* path) {
  struct stat status {};
  return StatusFrom(::stat(path, &status), status);
}

PathStatus LinkStatusOf(const char* path) {
  struct stat status {};
  return StatusFrom(::lstat(path, &status), status);
}

bool ListFolder(const char* path, const std::function<bool(const FileIdentity&)>& enters,
                const std::function<void(const FolderEntry&)>& take) {
  const std::unique_ptr<DIR, CloseFolder> stream(::opendir(path));
  struct stat status {};
  if (stream == nullptr || ::fstat(::dirfd(stream.get()), &status) != 0) return false;
  if (!enters({status.st_dev, status.st_ino})) return true;
  FolderEntry entry;
  errno = 0;
  for (const ::dirent* next = nullptr; (next = ::readdir(stream.get())) != nullptr; errno = 0) {
    entry.name = next->d_name;
    if (entry.name == "." || entry.name == "..") continue;
    entry.number = next->d_ino;
    entry.kind = next->d_type == DT_UNKNOWN ? std::nullopt
                                            : std::optional(KindOf(DTTOIF(::mode_t{next->d_type})));
    take(entry);
  }
  return errno == 0;
}

bool FitsPattern(const char* pattern, const char* text, PatternRules rules) {
  const int flags =
      (rules.keeps_points ? FNM_PERIOD : 0) | (rules.keeps_folders ? FNM_PATHNAME : 0);
  return ::fnmatch(pattern, text, flags) == 0;
}

std::string ComparableName(std::string name) { return name; }

bool MayWriteIn(const char* folder) { return ::access(folder, W_OK | X_OK) == 0; }

std::optional<std::uint64_t> RoomIn(const char* folder) {
  struct statvfs status {};
  if (::statvfs(folder, &status) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
}

int OpenDevice(const char* path) { return ::open(path, O_WRONLY | O_NOCTTY | O_CLOEXEC); }

int CreateNew(const char* path) {
  return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
}

int MakeTemporaryFile(std::string& pattern) { return ::mkostemp(pattern.data(), O_CLOEXEC); }

bool MakeTemporaryFolder(std::string& pattern) { return ::mkdtemp(pattern.data()) != nullptr; }

std::string TemporaryFolder() {
  const std::string folder = Setting("TMPDIR");
  return folder.empty() ? "/tmp" : folder;
}

void GiveUsualMode(int file) { ::fchmod(file, UsualMode()); }

bool RemoveFile(const char* path) { return ::unlink(path) == 0; }

bool RemoveFolder(const char* path) { return ::rmdir(path) == 0; }

bool MoveNew(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // A file system that can't do it in one step.
  if (::access(to.c_str(), F_OK) != 0) return ::rename(from.c_str(), to.c_str()) == 0;
  errno = EEXIST;
  return false;
}

std::ptrdiff_t ReadSomeAt(int file, std::uint64_t position, std::span<char> into) {
  const ::ssize_t got = ::pread(file, into.data(), into.size(), static_cast<::off_t>(position));
  return got < 0 && errno == EINTR ? kInterrupted : got;
}

}  // namespace nvimport
