#include "nvimport/formats/text/TextInput.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <string_view>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Log.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {
using namespace std::string_view_literals;
constexpr std::size_t kPiece = 64 * 1024;

// The order of the bytes in what is UTF-16 though no mark says so. Western text has a zero in most
// high bytes and few low ones, and no character that no text has, as small numbers of 16 bits do.
std::optional<std::endian> OrderOfUtf16(std::string_view head) {
  std::size_t zeros[2] = {0, 0};
  for (std::size_t i = 0; i < head.size(); ++i) zeros[i % 2] += head[i] == '\0' ? 1 : 0;
  const auto [fewer, more] = std::minmax(zeros[0], zeros[1]);
  constexpr std::size_t kFewest = 2;  // characters
  const std::size_t characters = head.size() / 2;
  if (characters < kFewest || more * 4 < characters * 3 || fewer * 8 > more) return std::nullopt;
  const std::endian order = zeros[0] > zeros[1] ? std::endian::big : std::endian::little;
  for (std::size_t at = 0; at + 2 <= head.size(); at += 2) {
    const auto unit = Load<char16_t>(head.data() + at, order);
    if (unit < u' ' && !(unit >= u'\t' && unit <= u'\r')) return std::nullopt;
  }
  return order;
}
}  // namespace

TextInput::TextInput(const char* path, bool finds_unmarked) : file_(path) {
  if (!file_.is_open()) return;
  const struct {
    std::string_view mark;
    Encoding encoding;
  } kMarks[] = {{"\xFF\xFE\0\0"sv, Encoding::kUtf32},  // before the one that it begins with
                {"\0\0\xFE\xFF"sv, Encoding::kUtf32},
                {"\xEF\xBB\xBF", Encoding::kBytes},
                {"\xFF\xFE", Encoding::kUtf16Little},
                {"\xFE\xFF", Encoding::kUtf16Big}};
  char head[4096];
  const std::ptrdiff_t got = file_.Read(head);
  const std::string_view start(head, static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  for (const auto& known : kMarks) {
    if (!start.starts_with(known.mark)) continue;
    encoding_ = known.encoding;
    mark_ = known.mark;
    return;
  }
  if (const auto order = OrderOfUtf16(start); finds_unmarked && order)
    encoding_ = *order == std::endian::big ? Encoding::kUtf16Big : Encoding::kUtf16Little;
}

std::string_view TextInput::shown_encoding() const {
  switch (encoding_) {
    case Encoding::kUtf16Little:
      return "UTF-16LE";
    case Encoding::kUtf16Big:
      return "UTF-16BE";
    case Encoding::kUtf32:
      return mark_[0] == '\0' ? "UTF-32BE" : "UTF-32LE";
    case Encoding::kBytes:
      break;
  }
  return mark_.empty() ? "" : "UTF-8";
}

void TextInput::TakeBytes() {
  encoding_ = Encoding::kBytes;
  mark_ = {};
}

bool TextInput::Rewind() {
  decoded_.clear();
  decoder_ = {};
  at_end_ = ends_in_unit_ = false;
  left_ = kAll;
  return file_.Seek(mark_.size());
}

bool TextInput::RewindToHead(std::uint64_t bytes) {
  const bool done = Rewind();
  left_ = bytes;
  return done;
}

std::ptrdiff_t TextInput::Read(std::span<char> into) {
  into = into.first(static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), left_)));
  const std::ptrdiff_t got = is_utf16() ? ReadUtf16(into) : file_.Read(into);
  left_ -= static_cast<std::uint64_t>(std::max<std::ptrdiff_t>(got, 0));
  return got;
}

std::ptrdiff_t TextInput::ReadUtf16(std::span<char> into) {
  while (decoded_.size() < into.size() && !at_end_)
    if (!Decode()) return -1;
  const std::size_t count = decoded_.copy(into.data(), into.size());
  decoded_.erase(0, count);
  return static_cast<std::ptrdiff_t>(count);
}

bool TextInput::Decode() {
  piece_.resize(kPiece);
  const std::ptrdiff_t got = file_.Read(piece_);
  if (got < 0) return false;
  at_end_ = static_cast<std::size_t>(got) < kPiece;
  const auto take = [&](char32_t c) { AppendUtf8(decoded_, c); };
  const std::endian order =
      encoding_ == Encoding::kUtf16Big ? std::endian::big : std::endian::little;
  for (std::ptrdiff_t at = 0; at + 2 <= got; at += 2)
    decoder_.Unit(Load<char16_t>(piece_.data() + at, order), take);
  ends_in_unit_ = got % 2 != 0;
  if (at_end_) decoder_.End(take);
  return true;
}

void TextInput::NoteReplaced(const char* source) const {
  Log::WriteCount(source, decoder_.replaced(),
                  "half of a pair in UTF-16 stands alone and arrives as U+FFFD",
                  "halves of pairs in UTF-16 stand alone and arrive as U+FFFD");
  if (ends_in_unit_)
    Log::WriteNote(source, "the text ends within a character, of which nothing was delivered");
}

void TextInput::Close() { *this = TextInput(); }

}  // namespace nvimport
