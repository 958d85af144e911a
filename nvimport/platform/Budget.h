#pragma once

#include <cstdint>

namespace nvimport {

// What one import may keep in memory, and do over again, by the size of its file. Everything that
// grows by what a file says (lists of sheets, strings, relationships, blocks, axes, names) draws
// from it before it grows. A program, its buffers and the allocator's overhead have the rest of the
// 64 MiB + 3 x file size that a read may take.
class Budget {
 public:
  explicit Budget(std::uint64_t file_size = 0)
      : left_(kLeast + 2 * file_size), most_work_(kLeastWork + 16 * file_size), work_(most_work_) {}

  // Draws so many bytes; false, for good, when the import may not have them.
  [[nodiscard]] bool Take(std::uint64_t bytes) {
    if (bytes > left_) overdrawn_ = true;
    if (!overdrawn_) left_ -= bytes;
    return !overdrawn_;
  }

  // The same for what there is another way without: false when fewer than `spared` bytes would be
  // left for the rest, and then nothing is drawn.
  [[nodiscard]] bool TakeIfSpare(std::uint64_t bytes, std::uint64_t spared) {
    return bytes + spared <= left_ && Take(bytes);
  }

  // Gives back what was taken and is kept no longer.
  void Return(std::uint64_t bytes) { left_ += bytes; }

  // Draws so many bytes that are gone through once more; false, for good, when it is enough. Cells
  // that come of it earn some back.
  [[nodiscard]] bool Work(std::uint64_t bytes) {
    if (bytes > work_) overdrawn_ = true;
    if (!overdrawn_) work_ -= bytes;
    return !overdrawn_;
  }
  void EarnWork(std::uint64_t bytes) { work_ += bytes; }
  void RenewWork() { work_ = most_work_; }

  bool overdrawn() const { return overdrawn_; }

 private:
  static constexpr std::uint64_t kLeast = 40 * 1024 * 1024;
  static constexpr std::uint64_t kLeastWork = 64 * 1024 * 1024;

  std::uint64_t left_;
  std::uint64_t most_work_;
  std::uint64_t work_;
  bool overdrawn_ = false;
};

}  // namespace nvimport
