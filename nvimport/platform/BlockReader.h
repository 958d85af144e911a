#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "nvimport/platform/InputFile.h"

namespace nvimport {

// Runs through a file of fixed-width records in one reused buffer.
class BlockReader {
 public:
  static constexpr std::size_t kSize = 256 * 1024;

  // Begins at `position` of `file`, which must outlive the run. The buffer of the last run serves
  // again.
  void Begin(InputFile& file, std::uint64_t position);

  // What lies ahead in the buffer, at least `least` bytes (up to kSize) unless the file ends or a
  // read fails.
  std::span<const char> Ahead(std::size_t least) {
    if (end_ - begin_ < least) Fill();
    return {buffer_.data() + begin_, end_ - begin_};
  }

  // True when a read failed, or was stopped, since Begin.
  bool failed() const { return failed_; }

  // Goes `count` bytes on, whether they are in the buffer or not.
  void Skip(std::uint64_t count) {
    if (count > end_ - begin_) return SkipFar(count);
    begin_ += static_cast<std::size_t>(count);
  }

  // Of the next byte in the file, which may lie behind its end.
  std::uint64_t position() const { return next_ - (end_ - begin_); }

 private:
  void Fill();
  void SkipFar(std::uint64_t count);

  InputFile* file_ = nullptr;
  bool failed_ = false;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t next_ = 0;  // of the file, behind the buffer
};

}  // namespace nvimport
