#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "nvimport/formats/Inflater.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/ByteSource.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// A run through a file from any place on, over its bytes as they stand or over what a zlib stream
// in it unpacks to.
class MatBytes {
 public:
  static constexpr std::size_t kMostAhead = BlockReader::kSize;

  MatBytes() = default;
  explicit MatBytes(const char* path);
  // Of a source instead of a file; null of one that could not be opened.
  explicit MatBytes(std::unique_ptr<ByteSource> source);

  bool is_open() const { return file_.is_open() || source_; }
  std::uint64_t file_size() const { return file_size_; }

  // Begins with the byte at `position`.
  void Begin(std::uint64_t position);
  // Begins with what the `packed` bytes at `position` unpack to; its positions count from 0.
  void BeginPacked(std::uint64_t position, std::uint64_t packed);

  // What lies ahead, at least `least` bytes (up to kMostAhead) unless the bytes end or fail; valid
  // until the next call.
  std::span<const char> Ahead(std::size_t least) {
    if (!inflater_) return reader_.Ahead(least);
    if (unpacked_.size() < least) Unpack(least);
    return {unpacked_.data(), unpacked_.size()};
  }
  // Goes on, also past the end.
  void Skip(std::uint64_t count) {
    if (!inflater_) return reader_.Skip(count);
    if (count > unpacked_.size()) return SkipPacked(count);
    unpacked_.Skip(static_cast<std::size_t>(count));
  }

  // Of the next byte.
  std::uint64_t position() const { return inflater_ ? unpacked_.position() : reader_.position(); }

  // The file could not be read, or what is packed is damaged.
  bool failed() const { return cannot_read() || damaged_; }
  bool cannot_read() const { return reader_.failed(); }

  // Whether what is unpacked ends here, and its check sum holds.
  bool EndsHere();

 private:
  void Unpack(std::size_t least);
  void SkipPacked(std::uint64_t count);

  InputFile file_;
  std::unique_ptr<ByteSource> source_;
  std::uint64_t file_size_ = 0;
  BlockReader reader_;
  std::uint64_t packed_left_ = 0;  // behind `reader_`
  std::optional<Inflater> inflater_;
  RefillBuffer unpacked_;
  bool damaged_ = false;
};

}  // namespace nvimport
