#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "nvimport/platform/Export.h"

namespace nvimport {

class InputContinuation;

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
  bool Precedes(const InputContinuation& other) const;

  int descriptor_ = -1;
};

// Has a file go on in a pipe: what an InputFile of this thread reads behind its end comes from
// there while this lives. It can be read once, so that nobody who has read it can go back.
class NVIMPORT_API InputContinuation {
 public:
  // The file at `path`; `descriptor` stays the caller's.
  InputContinuation(const char* path, int descriptor);
  InputContinuation(const InputContinuation&) = delete;
  InputContinuation& operator=(const InputContinuation&) = delete;
  ~InputContinuation();

 private:
  friend class InputFile;

  static thread_local InputContinuation* current_;

  InputContinuation* before_;
  std::uint64_t device_ = 0;
  std::uint64_t file_ = 0;
  int descriptor_;
  std::uint64_t taken_ = 0;
};

}  // namespace nvimport
