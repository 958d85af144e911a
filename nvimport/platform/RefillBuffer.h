#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "nvimport/platform/Export.h"

namespace nvimport {

// Bytes that were read ahead of who takes them, in one buffer that serves again and again. What is
// still ahead moves to the front when more is read behind it. All of it may be written to.
class NVIMPORT_API RefillBuffer {
 public:
  // As many bytes behind the last may be looked at and written to. They are NUL after a Fill.
  static constexpr std::size_t kPadding = 64;

  // What is ahead.
  char* data() const { return begin_; }
  char* end() const { return end_; }
  char& operator[](std::size_t at) const { return begin_[at]; }
  std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

  // Of the next byte in what is read.
  std::uint64_t position() const { return end_position_ - size(); }

  // The last Fill got less than it asked for; one failed, or was stopped, since the last Clear.
  bool at_end() const { return at_end_; }
  bool failed() const { return failed_; }

  // Takes `count` bytes of what is ahead.
  void Skip(std::size_t count) { begin_ += count; }

  // Goes to `position`. False when that is not in the buffer, which then is empty, and who reads
  // has to go there.
  bool Seek(std::uint64_t position);

  // Empties it for what begins at `position`.
  void Clear(std::uint64_t position);

  // Has `read`, called with a span, put up to `count` bytes more behind what is ahead. It returns
  // their number, or less than 0 when it failed. False when none came.
  template <typename Read>
  bool Fill(std::size_t count, const Read& read) {
    return Take(read(MakeRoom(count)), count);
  }

  // How many bytes of a file of `size` to read at a time: a small one needs no large block.
  static std::size_t BlockFor(std::uint64_t size) {
    return std::clamp<std::uint64_t>(size + 1, 4 * 1024, 256 * 1024);
  }

 private:
  std::span<char> MakeRoom(std::size_t count);
  bool Take(std::ptrdiff_t got, std::size_t count);

  std::unique_ptr<char[]> bytes_;
  std::size_t capacity_ = 0;
  char* begin_ = nullptr;
  char* end_ = nullptr;
  std::uint64_t end_position_ = 0;
  bool at_end_ = false;
  bool failed_ = false;
};

}  // namespace nvimport
