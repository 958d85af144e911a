#include "nvimport/formats/text/TextInput.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

namespace {
using namespace std::string_view_literals;
constexpr std::size_t kPiece = 64 * 1024;
}  // namespace

TextInput::TextInput(const char* path) : file_(path) {
  if (!file_.is_open()) return;
  const struct {
    std::string_view mark;
    Encoding encoding;
  } kMarks[] = {{"\xFF\xFE\0\0"sv, Encoding::kUtf32},  // before the one that it begins with
                {"\0\0\xFE\xFF"sv, Encoding::kUtf32},
                {"\xEF\xBB\xBF", Encoding::kBytes},
                {"\xFF\xFE", Encoding::kUtf16Little},
                {"\xFE\xFF", Encoding::kUtf16Big}};
  char head[4];
  const std::ptrdiff_t got = file_.Read(head);
  const std::string_view start(head, static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
  for (const auto& known : kMarks) {
    if (!start.starts_with(known.mark)) continue;
    encoding_ = known.encoding;
    mark_ = known.mark;
    break;
  }
}

std::string_view TextInput::marked_encoding() const {
  if (mark_.empty()) return {};
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
  return "UTF-8";
}

bool TextInput::Rewind() {
  decoded_.clear();
  decoder_ = {};
  at_end_ = false;
  return file_.Seek(mark_.size());
}

std::ptrdiff_t TextInput::Read(std::span<char> into) {
  return is_utf16() ? ReadUtf16(into) : file_.Read(into);
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
  if (at_end_) decoder_.End(take);
  return true;
}

void TextInput::Close() { *this = TextInput(); }

}  // namespace nvimport
