#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace nvimport {

// A new file in the folder for temporary files, open to nobody else. It has no name there from the
// start, so that nothing stays behind however the process ends.
class TemporaryFile {
 public:
  TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile();

  // By which this process opens it; empty when no file could be made.
  const std::string& path() const { return path_; }

  // Behind what was written so. False when the bytes could not be written.
  bool Write(std::span<const char> bytes);
  // At any position; what lies before it and was never written is zero.
  bool WriteAt(std::uint64_t position, std::span<const char> bytes);

  // False when there are not as many bytes at `position`.
  bool Read(std::uint64_t position, std::span<char> into) const;

 private:
  std::string path_;
  int descriptor_;
  std::uint64_t written_ = 0;  // by Write
};

}  // namespace nvimport
