#include "nvimport/formats/text/TextBlocks.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace nvimport {

namespace {
constexpr std::size_t kLargestBlock = 256 * 1024;
constexpr std::size_t kSmallestBlock = 4 * 1024;
}  // namespace

TextBlocks::TextBlocks(std::uint64_t size)
    : block_(static_cast<std::size_t>(
          std::clamp<std::uint64_t>(size + 1, kSmallestBlock, kLargestBlock))) {}

std::span<char> TextBlocks::MakeRoom(std::size_t kept_from) {
  const std::size_t kept = have_ - kept_from;
  if (kept + block_ + kPadding > capacity_) {
    // Twice as much, so that a long field is not copied for every block of it.
    const std::size_t capacity = std::max(2 * capacity_, 2 * block_ + kPadding);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (kept > 0) std::memcpy(larger.get(), buffer_.get() + kept_from, kept);
    buffer_ = std::move(larger);
    capacity_ = capacity;
  } else if (kept > 0) {
    std::memmove(buffer_.get(), buffer_.get() + kept_from, kept);
  }
  have_ = kept;
  return {buffer_.get() + have_, block_};
}

bool TextBlocks::Take(std::ptrdiff_t got) {
  if (got < 0) return false;
  have_ += static_cast<std::size_t>(got);
  std::memset(buffer_.get() + have_, 0, kPadding);
  at_end_ = static_cast<std::size_t>(got) < block_;
  return true;
}

}  // namespace nvimport
