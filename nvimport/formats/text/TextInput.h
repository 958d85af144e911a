#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Utf16.h"

namespace nvimport {

// The text of a file as bytes, without a byte-order mark: UTF-16 becomes UTF-8, all else stays as
// it is.
class TextInput {
 public:
  TextInput() = default;
  // UTF-16 without a mark counts as such if asked for.
  explicit TextInput(const char* path, bool finds_unmarked = false);

  bool is_open() const { return file_.is_open(); }
  // The file's size now, in bytes.
  std::uint64_t size() const { return file_.size(); }

  // The byte-order mark, and the encoding that it stands for or that was found; "" without one.
  std::string_view mark() const { return mark_; }
  std::string_view shown_encoding() const;
  std::size_t mark_size() const { return mark_.size(); }
  bool is_utf16() const {
    return encoding_ == Encoding::kUtf16Little || encoding_ == Encoding::kUtf16Big;
  }
  // Which stays as it is.
  bool is_utf32() const { return encoding_ == Encoding::kUtf32; }

  // Takes all of the file as the text, its mark too.
  void TakeBytes();

  // Goes to the start of the text.
  bool Rewind();
  // The same, and ends the text there after so many bytes until it is rewound again.
  bool RewindToHead(std::uint64_t bytes);
  // Whether such an end was met.
  bool has_more() const { return left_ == 0; }

  // Fills `into` from the current position, less only where the text ends. Returns the number of
  // bytes, or -1 when the read failed or the user cancelled.
  std::ptrdiff_t Read(std::span<char> into);

  // Notes what of UTF-16 was no character on the way from the start to here.
  void NoteReplaced(const char* source) const;

  void Close();

 private:
  static constexpr std::uint64_t kAll = UINT64_MAX;
  enum class Encoding { kBytes, kUtf16Little, kUtf16Big, kUtf32 };

  std::ptrdiff_t ReadUtf16(std::span<char> into);
  // Decodes the next piece of the file; false when the read failed.
  bool Decode();

  InputFile file_;
  Encoding encoding_ = Encoding::kBytes;
  std::string_view mark_;
  // Of UTF-16: a piece of the file, and what it became as far as that was not taken yet.
  std::vector<char> piece_;
  std::string decoded_;
  Utf16Decoder decoder_;
  std::uint64_t left_ = kAll;  // of the text before its end
  bool at_end_ = false;
  bool ends_in_unit_ = false;
};

}  // namespace nvimport
