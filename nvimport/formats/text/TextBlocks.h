#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace nvimport {

// A text that a scanner runs through block by block. What it still needs of the last block moves to
// the front, so it holds a block and a field, never a whole line.
class TextBlocks {
 public:
  static constexpr std::size_t kLongestField = std::size_t{64} << 20;

  // Masks are found for 64 bytes at a time, so as many behind the end are there, all NUL.
  static constexpr std::size_t kPadding = 64;

  // `size` is that of the file: a small one needs no large block.
  explicit TextBlocks(std::uint64_t size);

  char* data() const { return buffer_.get(); }
  char& operator[](std::size_t at) const { return buffer_[at]; }
  std::size_t size() const { return have_; }
  bool at_end() const { return at_end_; }

  // Drops what lies before `kept_from`, which moves to the front, and reads on behind the rest.
  // False when the read failed.
  template <typename Source>
  bool Fill(Source& source, std::size_t kept_from) {
    return Take(source.Read(MakeRoom(kept_from)));
  }

 private:
  std::span<char> MakeRoom(std::size_t kept_from);
  bool Take(std::ptrdiff_t got);

  std::size_t block_;  // bytes read at a time
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t have_ = 0;
  bool at_end_ = false;
};

}  // namespace nvimport
