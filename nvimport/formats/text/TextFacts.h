#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "nvimport/formats/DescriptionKeys.h"

namespace nvimport {

class TextInput;

// What the bytes of a text tell of it, which is taken piece by piece: which of the encodings that
// show it is in, how its lines end, and whether its delimiter stands anywhere.
class TextFacts {
 public:
  // Within quotes, if there is one, no line ends and no delimiter counts: a field that begins with
  // it goes on to the next one.
  explicit TextFacts(std::string_view delimiter, char quote = '\0')
      : delimiter_(delimiter), quote_(quote) {}

  void Take(std::string_view piece);

  // Takes all of `text`, as far as it can be read.
  void TakeAll(TextInput& text);

  // Adds what is certain. `mark` is the byte-order mark that precedes the text, and `encoding` what
  // it stands for.
  void State(std::string_view mark, std::string_view encoding, Stating& stating) const;
  // The delimiter stands in the text.
  bool separates() const { return separates_; }

 private:
  enum LineEnd : std::size_t { kCrLf, kLf, kCr };
  // In a field; behind a quote that closes, unless another one follows.
  enum class Place { kBegin, kInside, kQuoted, kClosed };

  void TakeByte(char c);
  // Of a stretch without a quote.
  void TakeUnquoted(std::string_view text);
  void CountEnds(std::string_view text);
  bool IsQuoted(char c);
  void FindDelimiter(std::string_view piece);
  void CheckUtf8(std::string_view piece);
  std::string LineEnds() const;

  std::string delimiter_;
  char quote_;
  bool is_empty_ = true;
  bool separates_ = false;
  bool is_ascii_ = true;
  bool is_utf8_ = true;
  std::string character_;  // that has not ended
  std::string overlap_;    // what a delimiter may have begun in
  std::array<std::uint64_t, 3> ends_{};
  char before_ = '\0';
  Place place_ = Place::kBegin;
};

}  // namespace nvimport
