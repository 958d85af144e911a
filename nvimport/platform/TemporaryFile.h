#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace nvimport {

// A new file in the folder for temporary files, under a name that nobody can foresee and open to
// nobody else. It goes with this object, or before.
class TemporaryFile {
 public:
  TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  // Empty when no file could be made.
  const std::string& path() const { return path_; }

  // False when the bytes could not be written.
  bool Write(std::span<const char> bytes);

  // False when there are not as many bytes at `position`.
  bool Read(std::uint64_t position, std::span<char> into) const;

  // Takes the name away; the bytes stay until the object goes.
  void Remove();

 private:
  std::string path_;
  int descriptor_ = -1;
};

}  // namespace nvimport
