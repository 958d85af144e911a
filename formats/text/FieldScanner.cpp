#include "formats/text/FieldScanner.h"

#include <algorithm>

namespace {
// The masks are found for whole blocks of 64, so the buffer is readable that far behind its end.
constexpr std::size_t kPadding = 64;
}  // namespace

FieldScanner::FieldScanner(InputFile& file, std::string_view delimiter, bool ignore_consecutive,
                           FindBytes find_bytes)
    : file_(file),
      delimiter_(delimiter.find('\n') == std::string_view::npos ? delimiter : std::string_view()),
      ignore_consecutive_(ignore_consecutive),
      simple_(delimiter_.empty() || (delimiter_.size() == 1 && delimiter_[0] != '\r')),
      sought_byte_(delimiter_.empty() ? '\n' : delimiter_[0]),
      find_bytes_(find_bytes),
      block_(static_cast<std::size_t>(
          std::clamp<std::uint64_t>(file.size() + 1, kSmallestBlock, kLargestBlock))) {}

FieldScanner::Match FieldScanner::MatchAt(std::size_t at) const {
  const std::size_t end = at + delimiter_.size();
  // A CR that ends the line is no part of it, so it can't end a delimiter either.
  const bool look_behind = delimiter_.back() == '\r';
  if (end + (look_behind ? 1 : 0) > have_ && !at_end_) return Match::kNeedsMore;
  if (end > have_ || delimiter_.compare(0, delimiter_.size(), &buffer_[at], delimiter_.size()) != 0)
    return Match::kNo;
  return look_behind && (end == have_ || buffer_[end] == '\n') ? Match::kNo : Match::kYes;
}

bool FieldScanner::Fill(std::size_t field) {
  const std::size_t kept = have_ - field;
  if (kept + block_ + kPadding > capacity_) {
    // Twice as much, so that a long field is not copied for every block of it.
    const std::size_t capacity = std::max(2 * capacity_, 2 * block_ + kPadding);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (kept > 0) std::memcpy(larger.get(), buffer_.get() + field, kept);
    buffer_ = std::move(larger);
    capacity_ = capacity;
  } else if (kept > 0) {
    std::memmove(buffer_.get(), buffer_.get() + field, kept);
  }
  have_ = kept;
  const std::ptrdiff_t got = file_.Read({buffer_.get() + have_, block_});
  if (got < 0) return false;
  have_ += static_cast<std::size_t>(got);
  std::memset(buffer_.get() + have_, 0, kPadding);
  at_end_ = static_cast<std::size_t>(got) < block_;
  return true;
}
