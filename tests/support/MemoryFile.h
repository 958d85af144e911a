#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace nvimport {

// A file that lies in memory, where the system has such, and has a path: for tests that change one
// thousands of times, and for sizes that no disk should have to hold.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view bytes = {});
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile();

  // Replaces the contents.
  void Put(std::string_view bytes) const {
    Resize(0);
    Append(bytes);
  }

  // Cuts them, or has zeros behind them.
  void Resize(std::uint64_t size) const;
  void Append(std::string_view bytes) const;

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
  int descriptor_;
};

}  // namespace nvimport
