#include "nvimport/formats/spectra/JCAMPLines.h"

#include <algorithm>
#include <limits>
#include <span>

namespace nvimport {

JCAMPLines::JCAMPLines(const char* path, bool cuts_long_lines)
    : file_(path),
      longest_(cuts_long_lines ? 255 : std::numeric_limits<std::size_t>::max()),
      lines_(LineReader::End::kEither, longest_,
             [this](std::span<char> into) { return file_.Read(into); }) {}

void JCAMPLines::Seek(std::uint64_t position, std::uint64_t line) {
  failed_ |= lines_.failed();
  // Blocks of a file follow one another, many to a buffer.
  if (!lines_.Seek(position, line)) failed_ |= !file_.Seek(position);
}

// Goes to the next line, behind the blanks that begin it where those don't count.
bool JCAMPLines::Ahead() {
  if (!lines_.AtLine()) return false;
  while (ignores_indentation_ && (lines_.front() == ' ' || lines_.front() == '\t')) {
    indentation_ahead_ = true;
    if (!lines_.SkipFront()) return false;
  }
  return true;
}

std::uint64_t JCAMPLines::Position() {
  Ahead();
  return lines_.position();
}

bool JCAMPLines::NextBeginsWith(char character) { return Ahead() && lines_.front() == character; }

void JCAMPLines::SkipToLabel() {
  while (Ahead() && lines_.front() != '#') {
    lines_.SkipLines(hash_);
    indentation_ahead_ = false;
  }
}

bool JCAMPLines::Next(std::string_view& line) {
  if (!Ahead() || !lines_.Next(text_)) return false;
  indented_ = std::exchange(indentation_ahead_, false);
  const bool is_long = text_.size() > longest_;
  if (is_long) text_ = text_.first(longest_);
  char* const end = text_.data() + text_.size();
  char* stop = end;
  for (char* dollar = lines_.Find(dollar_, text_.data()); dollar + 1 < stop; ++dollar)
    if (dollar[0] == '$' && dollar[1] == '$') stop = dollar;
  if (is_long && stop == end) ++long_lines_;
  *stop = '\n';
  line = {text_.data(), stop};
  return true;
}

std::string_view JCAMPLines::WithComment() {
  // Only a comment's first character has become a line feed.
  std::ranges::replace(text_, '\n', '$');
  return {text_.begin(), text_.end()};
}

}  // namespace nvimport
