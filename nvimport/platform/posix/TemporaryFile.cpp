#include "nvimport/platform/TemporaryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace nvimport {

TemporaryFile::TemporaryFile() {
  std::error_code none;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(none);
  if (none) return;
  descriptor_ = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (descriptor_ < 0) {
    // A file system that can't do without a name.
    std::string name = (folder / "tmpXXXXXX").string();
    descriptor_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ >= 0) ::unlink(name.c_str());
  }
  if (descriptor_ >= 0) path_ = "/proc/self/fd/" + std::to_string(descriptor_);
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool TemporaryFile::Write(std::span<const char> bytes) {
  while (!bytes.empty()) {
    const ::ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

bool TemporaryFile::WriteAt(std::uint64_t position, std::span<const char> bytes) {
  while (!bytes.empty()) {
    const ::ssize_t written =
        ::pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<::off_t>(position));
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    position += static_cast<std::uint64_t>(written);
  }
  return true;
}

bool TemporaryFile::Read(std::uint64_t position, std::span<char> into) const {
  while (!into.empty()) {
    const ::ssize_t got =
        ::pread(descriptor_, into.data(), into.size(), static_cast<::off_t>(position));
    if (got == 0 || (got < 0 && errno != EINTR)) return false;
    if (got < 0) continue;
    into = into.subspan(static_cast<std::size_t>(got));
    position += static_cast<std::uint64_t>(got);
  }
  return true;
}

}  // namespace nvimport
