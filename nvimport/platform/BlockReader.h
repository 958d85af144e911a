#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "nvimport/platform/ByteSource.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// Runs through a file of fixed-width records in one reused buffer.
class BlockReader {
 public:
  static constexpr std::size_t kSize = 256 * 1024;

  // Begins at `position` of `file`, which must outlive the run. The buffer of the last run serves
  // again.
  void Begin(InputFile& file, std::uint64_t position);
  void Begin(ByteSource& source, std::uint64_t position);

  // What lies ahead in the buffer, at least `least` bytes (up to kSize) unless the file ends or a
  // read fails.
  std::span<const char> Ahead(std::size_t least) {
    if (buffer_.size() < least) Fill();
    return {buffer_.data(), buffer_.size()};
  }

  // True when a read failed, or was stopped, since Begin.
  bool failed() const { return buffer_.failed(); }

  // Goes `count` bytes on, whether they are in the buffer or not.
  void Skip(std::uint64_t count) {
    if (count > buffer_.size()) return SkipFar(count);
    buffer_.Skip(static_cast<std::size_t>(count));
  }

  // Of the next byte in the file, which may lie behind its end.
  std::uint64_t position() const { return buffer_.position(); }

 private:
  void Fill();
  void SkipFar(std::uint64_t count);

  InputFile* file_ = nullptr;  // or
  ByteSource* source_ = nullptr;
  RefillBuffer buffer_;
};

}  // namespace nvimport
