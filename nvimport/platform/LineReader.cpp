#include "nvimport/platform/LineReader.h"

#include <algorithm>
#include <cstring>

namespace nvimport {

bool LineReader::Seek(std::uint64_t position, std::uint64_t line) {
  line_ = line;
  rest_ = Rest::kNone;
  // What was taken may have been written to.
  if (position >= buffer_.position() && buffer_.Seek(position)) return true;
  buffer_.Clear(position);
  ++fills_;
  return false;
}

bool LineReader::Fill() {
  constexpr std::size_t kBlock = 64 * 1024;
  if (buffer_.at_end()) return false;
  ++fills_;
  // As much again of a line that goes on, so that its end is not sought once more for every block.
  return buffer_.Fill(std::max(kBlock, buffer_.size()), read_);
}

void LineReader::FindAnew(Sought& sought, char* begin) const {
  const auto size = static_cast<std::size_t>(buffer_.end() - begin);
  const void* const found = std::memchr(begin, sought.character, size);
  sought.at = found != nullptr ? begin + (static_cast<const char*>(found) - begin) : buffer_.end();
  sought.fill = fills_;
}

// Of a pair that ends a line.
inline void LineReader::PassSecond() {
  if (buffer_.size() == 0)
    rest_ = Rest::kEnd;
  else if (front() == '\n' || front() == '\r')
    buffer_.Skip(1);
}

bool LineReader::GoToLine() {
  if (rest_ == Rest::kLine) {
    char* end = FindEnd(buffer_.data());
    for (; end == buffer_.end(); end = FindEnd(buffer_.data())) {
      buffer_.Skip(buffer_.size());
      if (!Fill()) return false;
    }
    buffer_.Skip(static_cast<std::size_t>(end + 1 - buffer_.data()));
    rest_ = ends_at_either_ ? Rest::kEnd : Rest::kNone;
  }
  if (buffer_.size() == 0 && !Fill()) return false;
  if (std::exchange(rest_, Rest::kNone) == Rest::kEnd) PassSecond();
  return buffer_.size() > 0 || Fill();
}

bool LineReader::Extend(Line& line) {
  const auto offset = static_cast<std::size_t>(buffer_.data() - line.data());
  buffer_.Seek(buffer_.position() - offset);
  return TakeFrom(offset, line);
}

void LineReader::ReadOn(Line& line, std::size_t count) {
  const auto offset = static_cast<std::size_t>(buffer_.data() - line.data());
  buffer_.Seek(buffer_.position() - offset);
  while (buffer_.size() < offset + count && Fill()) {
  }
  line = {buffer_.data(), line.size()};
  buffer_.Skip(offset);
}

// Takes up to the end of the line that begins `offset` bytes ahead.
bool LineReader::TakeFrom(std::size_t offset, Line& line) {
  char* end = FindEnd(buffer_.data() + offset);
  for (bool more = true; end == buffer_.end() && more; end = FindEnd(buffer_.data() + offset))
    more = buffer_.size() <= longest_ && Fill();
  char* const begin = buffer_.data();
  const auto size = static_cast<std::size_t>(end - begin);
  const bool has_end = end != buffer_.end();
  if (size > longest_) {
    line = {begin, longest_ + 1};
    rest_ = Rest::kLine;
    buffer_.Skip(longest_ + 1);
  } else if (!has_end && (failed() || size == offset)) {
    return false;
  } else {
    line = has_end && !ends_at_either_ ? WithoutCr(begin, end) : Line(begin, end);
    buffer_.Skip(size + (has_end ? 1 : 0));
    if (has_end && ends_at_either_) PassSecond();
  }
  ++line_;
  return true;
}

void LineReader::SkipLines(Sought& sought) {
  char* const begin = buffer_.data();
  const char* const stop = Find(sought, begin);
  char* next = begin;
  const char* second = nullptr;  // of a pair that ends a line
  for (char* at = begin; at < stop; at += 32) {
    std::uint32_t ends = FindIn32(at, '\n') | FindIn32(at, '\r');
    for (; ends != 0; ends &= ends - 1) {
      char* const end = at + std::countr_zero(ends);
      if (end >= stop) break;
      second = end == second ? nullptr : end + 1;
      if (second == nullptr) continue;
      next = end + 1;
      ++line_;
    }
  }
  buffer_.Skip(static_cast<std::size_t>(next - begin));
  Line line;
  if (next == begin)
    Next(line);
  else
    PassSecond();
}

}  // namespace nvimport
