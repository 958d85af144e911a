#include "nvimport/formats/text/TextFacts.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "nvimport/formats/text/TextInput.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

void TextFacts::Take(std::string_view piece) {
  is_empty_ = is_empty_ && piece.empty();
  if (is_utf8_) CheckUtf8(piece);
  if (quote_ == '\0' && !separates_) FindDelimiter(piece);
  // Most stretches have no quote, and are looked at faster than byte by byte.
  constexpr std::size_t kStretch = 4096;
  while (!piece.empty()) {
    const std::string_view stretch = piece.substr(0, kStretch);
    piece.remove_prefix(stretch.size());
    if (quote_ == '\0' || stretch.find(quote_) == std::string_view::npos)
      TakeUnquoted(stretch);
    else
      for (const char c : stretch) TakeByte(c);
  }
}

void TextFacts::TakeUnquoted(std::string_view text) {
  if (place_ == Place::kQuoted) {
    before_ = '\0';
    return;
  }
  CountEnds(text);
  before_ = text.back();
  if (quote_ == '\0') return;
  const char delimiter = delimiter_[0];
  separates_ = separates_ || text.find(delimiter) != std::string_view::npos;
  const bool ends = before_ == delimiter || before_ == '\n' || before_ == '\r';
  place_ = ends ? Place::kBegin : Place::kInside;
}

void TextFacts::CountEnds(std::string_view text) {
  std::uint64_t feeds = 0;
  std::uint64_t pairs = 0;
  for (std::size_t at = text.find('\n'); at != std::string_view::npos;
       at = text.find('\n', at + 1)) {
    ++feeds;
    pairs += (at == 0 ? before_ : text[at - 1]) == '\r' ? 1 : 0;
  }
  ends_[kCrLf] += pairs;
  ends_[kLf] += feeds - pairs;
  // The carriage return of a pair may have been counted before.
  if (text.find('\r') != std::string_view::npos)
    ends_[kCr] += static_cast<std::uint64_t>(std::ranges::count(text, '\r'));
  ends_[kCr] -= pairs;
}

void TextFacts::TakeAll(TextInput& text) {
  std::vector<char> block(std::size_t{256} * 1024);
  if (!text.Rewind()) return;
  for (std::ptrdiff_t got = 0; (got = text.Read(block)) > 0;)
    Take({block.data(), static_cast<std::size_t>(got)});
}

// A character may go on in the next piece.
void TextFacts::CheckUtf8(std::string_view piece) {
  if (character_.empty() && IsAscii(piece)) return;
  is_ascii_ = false;
  std::string joined = std::exchange(character_, {});
  joined += piece;
  std::string_view text = joined;
  while (!text.empty()) {
    const std::size_t size = CharacterSize(text);
    if (size == 0) break;
    text.remove_prefix(size);
  }
  constexpr std::size_t kLongest = 4;
  is_utf8_ = text.size() < kLongest;
  character_ = text;
}

void TextFacts::FindDelimiter(std::string_view piece) {
  if (delimiter_.empty()) return;
  overlap_ += piece;
  separates_ = overlap_.find(delimiter_) != std::string::npos;
  overlap_.erase(0, overlap_.size() - std::min(overlap_.size(), delimiter_.size() - 1));
}

// Whether the byte is a quote that counts, or stands within quotes.
bool TextFacts::IsQuoted(char c) {
  const bool is_quote = c == quote_;
  switch (place_) {
    case Place::kQuoted:
      if (is_quote) place_ = Place::kClosed;
      return true;
    case Place::kBegin:
    case Place::kClosed:
      if (is_quote) place_ = Place::kQuoted;
      return is_quote;
    case Place::kInside:
      break;
  }
  return false;
}

void TextFacts::TakeByte(char c) {
  const char before = std::exchange(before_, c);
  if (quote_ != '\0') {
    if (IsQuoted(c)) {
      before_ = '\0';
      return;
    }
    const bool is_delimiter = c == delimiter_[0];
    separates_ = separates_ || is_delimiter;
    place_ = is_delimiter || c == '\n' || c == '\r' ? Place::kBegin : Place::kInside;
  }
  if (c == '\n' && before == '\r') {
    --ends_[kCr];
    ++ends_[kCrLf];
  } else if (c == '\n') {
    ++ends_[kLf];
  } else if (c == '\r') {
    ++ends_[kCr];
  }
}

// The one kind that there is, or how many there are of each.
std::string TextFacts::LineEnds() const {
  constexpr const char* kNames[] = {"CR LF", "LF", "CR"};
  std::string one;
  std::string counts;
  int kinds = 0;
  for (const LineEnd end : {kCrLf, kLf, kCr}) {
    if (ends_[end] == 0) continue;
    one = kNames[end];
    counts += (kinds++ == 0 ? "mixed: " : ", ") + std::to_string(ends_[end]) + " " + one;
  }
  return kinds > 1 ? counts : one;
}

void TextFacts::State(std::string_view mark, std::string_view encoding, Stating& stating) const {
  std::string bytes;
  for (const char c : mark) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    bytes += bytes.empty() ? "" : " ";
    bytes += {kDigits[byte / 16], kDigits[byte % 16]};
  }
  stating.StateIfAny("byte order mark", bytes);
  const bool is_utf8 = is_utf8_ && character_.empty();
  if (encoding.empty() && !is_empty_ && is_utf8) encoding = is_ascii_ ? "US-ASCII" : "UTF-8";
  stating.StateIfAny("encoding", encoding);
  stating.StateIfAny("line ends", LineEnds());
}

}  // namespace nvimport
