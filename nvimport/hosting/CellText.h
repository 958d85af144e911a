#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "nvimport/platform/Export.h"
#include "nvimport/platform/Utf8.h"

namespace nvimport {

// Texts at the edge: the library's bytes become UTF-8, and UTF-8 becomes what is written.

class TextTables;

// One conversion by the system's tables, where one of the encodings is UTF-8.
class NVIMPORT_API Conversion {
 public:
  Conversion(const std::string& to, const std::string& from);
  Conversion(const Conversion&) = delete;
  Conversion& operator=(const Conversion&) = delete;
  ~Conversion();

  // True when both encodings are known and leave ASCII as it is.
  bool ok() const;

  // `out` becomes `text` in the other encoding. What can't be converted becomes `replacement`.
  // Whether there was nothing of that.
  bool Convert(std::string_view text, std::string& out, std::string_view replacement) const;

 private:
  std::unique_ptr<const TextTables> tables_;
};

// Turns a text of the library into UTF-8: without an encoding what is valid UTF-8 already stays,
// anything else is Windows-1252.
class NVIMPORT_API TextDecoder {
 public:
  explicit TextDecoder(const std::string& encoding = {});
  bool ok() const { return conversion_ == nullptr || conversion_->ok(); }

  // `text` itself or `scratch`.
  std::string_view Decode(std::string_view text, std::string& scratch) const {
    return IsAscii(text) ? text : DecodeOther(text, scratch);
  }

 private:
  std::string_view DecodeOther(std::string_view text, std::string& scratch) const;

  std::shared_ptr<const Conversion> conversion_;
};

// Turns UTF-8 into what is written; without an encoding it stays.
class NVIMPORT_API TextEncoder {
 public:
  explicit TextEncoder(const std::string& encoding = {});
  bool ok() const { return conversion_ == nullptr || conversion_->ok(); }

  // `text` itself or `scratch`.
  std::string_view Encode(std::string_view text, std::string& scratch) const {
    if (conversion_ == nullptr || IsAscii(text)) return text;
    if (!conversion_->Convert(text, scratch, "?")) *has_lost_ = true;
    return scratch;
  }
  // Whether characters became question marks since this was asked last.
  bool TakeLoss() const { return has_lost_->exchange(false); }

 private:
  std::shared_ptr<const Conversion> conversion_;
  std::shared_ptr<std::atomic<bool>> has_lost_ = std::make_shared<std::atomic<bool>>(false);
};

// `utf8` with control characters as \x1b, and those that turn round the text behind them as \u202e,
// so that a terminal shows it and does nothing else.
NVIMPORT_API std::string EscapeControls(std::string_view utf8);

// `json` in UTF-8 with what JSON lets stand but a terminal acts on escaped, so that its texts are
// the same: DEL, the controls above it, and what turns round the text behind it.
NVIMPORT_API std::string EscapeInJson(std::string json);

// A message of the library in one line of UTF-8 without control characters.
NVIMPORT_API std::string OneLine(std::string_view bytes);

// A file name as it stands in messages.
NVIMPORT_API std::string ShownName(std::string_view name);

// Any bytes as UTF-8, for what is no cell.
NVIMPORT_API std::string ToUtf8(std::string_view bytes);

// The columns that `utf8` takes on a terminal.
NVIMPORT_API std::size_t DisplayWidth(std::string_view utf8);

// `utf8` cut to `width` columns, an ellipsis standing for what was cut.
NVIMPORT_API std::string CutToWidth(std::string_view utf8, std::size_t width);

}  // namespace nvimport
