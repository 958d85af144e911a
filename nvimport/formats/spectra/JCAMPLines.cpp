#include "nvimport/formats/spectra/JCAMPLines.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>

#include "nvimport/platform/ByteScan.h"

namespace nvimport {

namespace {

constexpr std::size_t kBlock = 64 * 1024;
// For the line feed behind the last line, and for what FindIn32 looks at.
constexpr std::size_t kBehind = 32;

bool EndsLine(char c) { return c == '\n' || c == '\r'; }
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

void JCAMPLines::Seek(std::uint64_t position, std::uint64_t line) {
  line_ = line;
  end_goes_on_ = false;
  // Blocks of a file follow one another, many to a buffer. What is ahead in it is as in the file,
  // while what was read may have lost its comments.
  const auto ahead = static_cast<std::uint64_t>(filled_ - next_);
  if (position <= position_ && position_ - position <= ahead) {
    next_ = filled_ - (position_ - position);
    return;
  }
  next_ = filled_;
  position_ = position;
  failed_ |= !file_.Seek(position);
}

inline bool JCAMPLines::Ahead() {
  if (next_ == filled_ && !Fill()) return false;
  if (!end_goes_on_) return true;
  end_goes_on_ = false;
  if (EndsLine(*next_)) ++next_;
  return (next_ != filled_ || Fill()) && (!ignores_indentation_ || AtText());
}

std::uint64_t JCAMPLines::Position() {
  Ahead();
  return position_ - static_cast<std::uint64_t>(filled_ - next_);
}

bool JCAMPLines::NextBeginsWith(char character) { return Ahead() && *next_ == character; }

// Goes behind the blanks that begin a line.
bool JCAMPLines::AtText() {
  while (IsBlank(*next_)) {
    indentation_ahead_ = true;
    if (++next_ == filled_ && !Fill()) return false;
  }
  return true;
}

// Reads on behind what is ahead, of which a line too long keeps no more than tells that it is one.
bool JCAMPLines::Fill() {
  const auto ahead = static_cast<std::size_t>(filled_ - next_);
  const std::size_t kept = ahead > longest_ ? longest_ + 1 : ahead;
  if (buffer_.empty()) buffer_.resize(kBlock + kBehind);
  if (kept > 0) std::memmove(buffer_.data(), next_, kept);
  if (kept + kBlock / 2 > buffer_.size()) buffer_.resize(2 * buffer_.size());
  next_ = buffer_.data();
  filled_ = next_ + kept;
  line_feed_ = carriage_return_ = dollar_ = hash_ = nullptr;
  const std::ptrdiff_t got =
      file_.Read(std::span(buffer_).subspan(kept, buffer_.size() - kBehind - kept));
  failed_ |= got < 0;
  if (got <= 0) return false;
  filled_ += got;
  position_ += static_cast<std::uint64_t>(got);
  return true;
}

char* JCAMPLines::Find(char character, char*& found) const {
  if (found < next_) {
    const void* at = std::memchr(next_, character, static_cast<std::size_t>(filled_ - next_));
    found = at != nullptr ? next_ + (static_cast<const char*>(at) - next_) : filled_;
  }
  return found;
}

char* JCAMPLines::FindEnd() {
  return std::min(Find('\n', line_feed_), Find('\r', carriage_return_));
}

// The end of the next line, all of which that counts is in the buffer then.
char* JCAMPLines::NextEnd() {
  char* end = FindEnd();
  for (bool more = true; end == filled_ && more; end = FindEnd()) more = Fill();
  return end;
}

void JCAMPLines::GoBehind(char* end) {
  indentation_ahead_ = false;
  end_goes_on_ = end != filled_;
  next_ = end_goes_on_ ? end + 1 : end;
  ++line_;
}

// Goes behind the lines that end before `stop`, all of which are in the buffer.
void JCAMPLines::PassLines(const char* stop) {
  const char* second = nullptr;  // of a pair that ends a line
  for (char* at = next_; at < stop; at += 32)
    for (std::uint32_t ends = FindIn32(at, '\n') | FindIn32(at, '\r'); ends != 0;
         ends &= ends - 1) {
      char* const end = at + std::countr_zero(ends);
      if (end >= stop) return;
      second = end == second ? nullptr : end + 1;
      if (second != nullptr) GoBehind(end);
    }
}

void JCAMPLines::SkipToLabel() {
  while (Ahead() && *next_ != '#') {
    const char* const begin = next_;
    PassLines(Find('#', hash_));
    if (next_ == begin) GoBehind(NextEnd());
  }
}

bool JCAMPLines::Next(std::string_view& line) {
  if (!Ahead()) return false;
  char* const end = NextEnd();
  if (failed_) return false;

  const bool is_long = static_cast<std::size_t>(end - next_) > longest_;
  char* stop = is_long ? next_ + longest_ : end;
  text_ = next_;
  text_end_ = stop;
  for (char* dollar = Find('$', dollar_); dollar + 1 < stop; ++dollar)
    if (dollar[0] == '$' && dollar[1] == '$') stop = dollar;
  if (is_long && stop == next_ + longest_) ++long_lines_;

  *stop = '\n';
  line = {next_, static_cast<std::size_t>(stop - next_)};
  indented_ = indentation_ahead_;
  GoBehind(end);
  return true;
}

std::string_view JCAMPLines::WithComment() {
  // Only a comment's first character has become a line feed.
  std::replace(text_, text_end_, '\n', '$');
  return {text_, static_cast<std::size_t>(text_end_ - text_)};
}

}  // namespace nvimport
