#include "nvimport/formats/spectra/JCAMPLines.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/TemporaryFile.h"
#include "nvimport/platform/Utf16.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

JCAMPLines::JCAMPLines(const char* path, bool cuts_long_lines, bool decodes)
    : file_(path),
      longest_(cuts_long_lines ? 255 : std::numeric_limits<std::size_t>::max()),
      lines_(LineReader::End::kEither, longest_,
             [this](std::span<char> into) { return file_.Read(into); }) {
  if (decodes && is_open()) Decode();
}

// Goes behind a byte order mark. UTF-16 is read from a copy in UTF-8, in which lines can be gone
// to.
void JCAMPLines::Decode() {
  char head[4] = {};
  file_.Read(head);
  const std::string_view start(head, sizeof head);
  const bool is_big = start.starts_with("\xfe\xff") || start == std::string_view("\0#\0#", 4);
  const bool is_little = start.starts_with("\xff\xfe") || start == std::string_view("#\0#\0", 4);
  if (start.starts_with("\xef\xbb\xbf")) return Seek(3, 0);
  if (!is_big && !is_little) {
    file_.Seek(0);
    return;
  }
  const bool is_marked = head[0] != '#' && head[1] != '#';
  file_.Seek(is_marked ? 2 : 0);

  constexpr std::size_t kPiece = 64 * 1024;
  TemporaryFile copy;
  Utf16Decoder decoder;
  std::vector<char> piece(kPiece);
  std::string text;
  const auto take = [&](char32_t c) { AppendUtf8(text, c); };
  std::ptrdiff_t got = 0;
  bool is_written = !copy.path().empty();
  while (is_written && (got = file_.Read(piece)) > 0) {
    text.clear();
    for (std::ptrdiff_t at = 0; at + 2 <= got; at += 2)
      decoder.Unit(Load<char16_t>(&piece[static_cast<std::size_t>(at)],
                                  is_big ? std::endian::big : std::endian::little),
                   take);
    is_written = copy.Write(text);
  }
  failed_ = !is_written || got < 0;
  file_ = InputFile(copy.path().c_str());
}

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
