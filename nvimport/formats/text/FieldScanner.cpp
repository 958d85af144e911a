#include "nvimport/formats/text/FieldScanner.h"

namespace nvimport {

FieldScanner::FieldScanner(TextInput& file, std::string_view delimiter, bool ignore_consecutive,
                           FindBytes find_bytes)
    : file_(file),
      delimiter_(delimiter.find('\n') == std::string_view::npos ? delimiter : std::string_view()),
      ignore_consecutive_(ignore_consecutive),
      simple_(delimiter_.empty() || (delimiter_.size() == 1 && delimiter_[0] != '\r')),
      sought_byte_(delimiter_.empty() ? '\n' : delimiter_[0]),
      find_bytes_(find_bytes),
      block_(RefillBuffer::BlockFor(file.size())) {}

FieldScanner::Match FieldScanner::MatchAt(std::size_t at) const {
  const std::size_t end = at + delimiter_.size();
  // A CR that ends the line is no part of it, so it can't end a delimiter either.
  const bool look_behind = delimiter_.back() == '\r';
  if (end + (look_behind ? 1 : 0) > text_.size() && !text_.at_end()) return Match::kNeedsMore;
  if (end > text_.size() ||
      delimiter_.compare(0, delimiter_.size(), &text_[at], delimiter_.size()) != 0)
    return Match::kNo;
  return look_behind && (end == text_.size() || text_[end] == '\n') ? Match::kNo : Match::kYes;
}

}  // namespace nvimport
