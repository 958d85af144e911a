#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "nvimport/platform/ByteScan.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// Runs through the lines of a text in one reused buffer, which holds a block of the text and the
// line last taken, as far as its length counts.
class LineReader {
 public:
  // What ends a line: a line feed, before which a CR is no part of the line; or either of the two,
  // which takes one of either behind it along.
  enum class End { kLineFeed, kEither };

  // Fills its bytes from where it last stopped, less only where the text ends. Returns their
  // number, or -1 when that failed or was stopped.
  using Source = std::function<std::ptrdiff_t(std::span<char>)>;

  // Good until the next call. It may be written to, as may the byte behind one that was not cut.
  using Line = std::span<char>;

  // A character that is looked for again and again, and where it was found last.
  struct Sought {
    char character;
    char* at = nullptr;
    std::size_t fill = 0;
  };

  // Of a line longer than `longest` no more is given than that and one byte.
  LineReader(End end, std::size_t longest, Source read)
      : ends_at_either_(end == End::kEither), longest_(longest), read_(std::move(read)) {}

  // Goes to `position`, which is behind `line` lines. False when that is not ahead in the buffer,
  // so that the source has to go there.
  bool Seek(std::uint64_t position, std::uint64_t line);

  // A read failed, or was stopped, since the source went somewhere. The line that it cut is not
  // given.
  bool failed() const { return buffer_.failed(); }
  // Of the next byte, and the lines before it.
  std::uint64_t position() const { return buffer_.position(); }
  std::uint64_t line() const { return line_; }

  // Goes to where the next line begins; false when there is none. Of that line: its first byte, and
  // what leaves that out; false when nothing follows.
  bool AtLine() { return (rest_ == Rest::kNone && buffer_.size() > 0) || GoToLine(); }
  char front() const { return buffer_[0]; }
  bool SkipFront() {
    buffer_.Skip(1);
    return buffer_.size() > 0 || Fill();
  }

  // Takes the next line, or the one just reached; false when there is none. The last may go without
  // its end.
  bool Next(Line& line) { return AtLine() && TakeFrom(0, line); }
  // Takes two lines that end within the next 32 bytes, where line feeds end them. False when they
  // don't, and nothing is taken.
  bool NextShort(Line& first, Line& second);
  // Adds the line behind it, and the end between them, to the one last taken; false when there is
  // none.
  bool Extend(Line& line);

  // Up to `count` bytes behind the line last taken and its end, where line feeds end them.
  std::span<const char> Behind(Line& line, std::size_t count) {
    if (buffer_.size() < count) ReadOn(line, count);
    return {buffer_.data(), std::min(buffer_.size(), count)};
  }

  // At a line, takes all that end before what is sought, at least one, where either ends them.
  void SkipLines(Sought& sought);

  // What is sought from `begin` on, as far as was read; else the end of that.
  char* Find(Sought& sought, char* begin) const {
    if (sought.fill != fills_ || sought.at < begin) FindAnew(sought, begin);
    return sought.at;
  }

 private:
  enum class Rest { kNone, kEnd, kLine };

  bool Fill();
  bool GoToLine();
  void ReadOn(Line& line, std::size_t count);
  void PassSecond();
  void FindAnew(Sought& sought, char* begin) const;
  bool TakeFrom(std::size_t offset, Line& line);
  char* FindEnd(char* begin) {
    char* const line_feed = Find(line_feed_, begin);
    return ends_at_either_ ? std::min(line_feed, Find(carriage_return_, begin)) : line_feed;
  }
  static Line WithoutCr(char* begin, char* end) {
    return {begin, end > begin && end[-1] == '\r' ? end - 1 : end};
  }

  bool ends_at_either_;
  std::size_t longest_;
  Source read_;
  RefillBuffer buffer_;
  std::uint64_t line_ = 0;
  std::size_t fills_ = 1;
  Sought line_feed_{'\n'};
  Sought carriage_return_{'\r'};
  Rest rest_ = Rest::kNone;  // of the last line: what may have to be passed
};

inline bool LineReader::NextShort(Line& first, Line& second) {
  constexpr std::size_t kWindow = 32;
  if (buffer_.size() < kWindow || rest_ != Rest::kNone) return false;
  char* const begin = buffer_.data();
  const std::uint32_t feeds = FindIn32(begin, '\n');
  const std::uint32_t further_feeds = feeds & (feeds - 1);
  if (further_feeds == 0) return false;
  char* const first_end = begin + std::countr_zero(feeds);
  char* const second_end = begin + std::countr_zero(further_feeds);
  first = WithoutCr(begin, first_end);
  second = WithoutCr(first_end + 1, second_end);
  buffer_.Skip(static_cast<std::size_t>(second_end + 1 - begin));
  line_ += 2;
  return true;
}

}  // namespace nvimport
