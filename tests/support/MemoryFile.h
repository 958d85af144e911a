#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace nvimport {

// A file that lies in memory and has a path: for tests that change one thousands of times, and for
// sizes that no disk should have to hold.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes = {})
      : descriptor_(::memfd_create("file", MFD_CLOEXEC)),
        path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    Put(bytes);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { ::close(descriptor_); }

  // Replaces the contents.
  void Put(std::string_view bytes) const {
    if (::ftruncate(descriptor_, 0) != 0) std::abort();
    Append(bytes);
  }

  void Append(std::string_view bytes) const {
    const off_t end = ::lseek(descriptor_, 0, SEEK_END);
    if (::pwrite(descriptor_, bytes.data(), bytes.size(), end) !=
        static_cast<ssize_t>(bytes.size()))
      std::abort();
  }

  const char* path() const { return path_.c_str(); }

 private:
  int descriptor_;
  std::string path_;
};

}  // namespace nvimport
