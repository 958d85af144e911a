#pragma once

#include <cstdint>

namespace nvimport {

// What one import may keep in memory, by the size of its file. Everything that grows by what a file
// says (lists of sheets, strings, relationships, blocks, axes, names) draws from it before it
// grows. A program, its buffers and the allocator's overhead have the rest of the 64 MiB + 3 x file
// size that a read may take.
class Budget {
 public:
  explicit Budget(std::uint64_t file_size = 0) : left_(kLeast + 2 * file_size) {}

  // Draws so many bytes; false, for good, when the import may not have them.
  [[nodiscard]] bool Take(std::uint64_t bytes) {
    if (bytes > left_) overdrawn_ = true;
    if (!overdrawn_) left_ -= bytes;
    return !overdrawn_;
  }

  // Gives back what was taken and is kept no longer.
  void Return(std::uint64_t bytes) { left_ += bytes; }

  bool overdrawn() const { return overdrawn_; }

 private:
  static constexpr std::uint64_t kLeast = 40 * 1024 * 1024;

  std::uint64_t left_;
  bool overdrawn_ = false;
};

}  // namespace nvimport
