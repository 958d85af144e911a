#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "nvimport/platform/Export.h"

namespace nvimport {

// A regular file read in large blocks, which others may read and write meanwhile. It is never
// mapped: a file that another program shortens ends early, it does not raise a signal. Other kinds
// of file (folders, pipes, devices) don't open, and asking never blocks.
class NVIMPORT_API InputFile {
 public:
  InputFile() = default;
  explicit InputFile(const char* path);
  InputFile(InputFile&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  InputFile& operator=(InputFile&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~InputFile() { Close(); }

  bool is_open() const { return descriptor_ >= 0; }

  // The file's size now, in bytes.
  std::uint64_t size() const;

  // Fills `into` from the current position, less only where the file ends. Returns the number of
  // bytes, or -1 when the read failed or the user cancelled.
  std::ptrdiff_t Read(std::span<char> into);

  // Goes to `position`, counted from the start.
  bool Seek(std::uint64_t position);

  void Close();

 private:
  int descriptor_ = -1;
};

}  // namespace nvimport
