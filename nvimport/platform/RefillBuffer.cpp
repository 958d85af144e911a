#include "nvimport/platform/RefillBuffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace nvimport {

bool RefillBuffer::Seek(std::uint64_t position) {
  const auto held = static_cast<std::size_t>(end_ - bytes_.get());
  if (position <= end_position_ && end_position_ - position <= held) {
    begin_ = end_ - (end_position_ - position);
    return true;
  }
  begin_ = end_ = bytes_.get();
  end_position_ = position;
  at_end_ = false;
  return false;
}

void RefillBuffer::Clear(std::uint64_t position) {
  begin_ = end_ = bytes_.get();
  end_position_ = position;
  at_end_ = failed_ = false;
}

std::span<char> RefillBuffer::MakeRoom(std::size_t count) {
  const std::size_t kept = size();
  std::unique_ptr<char[]> smaller;  // which holds what is ahead
  if (kept + count + kPadding > capacity_) {
    // At least twice as much, so that what stays ahead for long is not copied for every block. A
    // little more than asked for, since the next block mostly finds some of this one left.
    capacity_ = std::max(2 * capacity_, kept + count + count / 4 + kPadding);
    smaller = std::exchange(bytes_, std::make_unique_for_overwrite<char[]>(capacity_));
  }
  if (kept > 0 && begin_ != bytes_.get()) std::memmove(bytes_.get(), begin_, kept);
  begin_ = bytes_.get();
  end_ = begin_ + kept;
  return {end_, count};
}

bool RefillBuffer::Take(std::ptrdiff_t got, std::size_t count) {
  failed_ |= got < 0;
  at_end_ = got < static_cast<std::ptrdiff_t>(count);
  const auto taken = static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0));
  end_ += taken;
  end_position_ += taken;
  std::memset(end_, 0, kPadding);
  return taken > 0;
}

}  // namespace nvimport
