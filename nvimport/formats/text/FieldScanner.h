#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "nvimport/formats/text/TextInput.h"
#include "nvimport/formats/text/TextScan.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// Walks the lines and fields of a delimited text, holding a block of the file and the field that
// crosses into the next one, never a whole line.
//
// A line ends at a line feed; a CR before it, or before the end of the file, is no part of it. Its
// fields are what the delimiter separates: an empty line has none, and a delimiter at a line's end
// is followed by none. A NUL ends the fields of its line. What follows the last line feed is a line
// only if it has a field.
//
// The visitor offers
//   void Field(const char* text, std::size_t length)
//                                  the next field of the line, NUL-terminated in the block;
//   bool EndLine()                 after each line; false stops the walk;
//   static constexpr bool kCountsOnly, and if true
//   void Fields(unsigned count)    `count` fields of one line at once, whatever their texts.
class FieldScanner {
 public:
  enum class Outcome { kEnd, kStopped, kReadFailed, kFieldTooLong };

  // An empty delimiter, or one that holds a line feed and so can't stand in a line, makes each line
  // one field.
  FieldScanner(TextInput& file, std::string_view delimiter, bool ignore_consecutive,
               FindBytes find_bytes = BestFindBytes());

  // Walks from the file's current position.
  template <typename Visitor>
  Outcome Walk(Visitor& visitor) {
    return simple_ ? Walk<true>(visitor) : Walk<false>(visitor);
  }

  // Lines in which a NUL cut the fields short.
  std::uint64_t cut_lines() const { return cut_lines_; }

 private:
  enum class Match { kYes, kNo, kNeedsMore };

  // One byte that isn't CR, or none: what the masks say needs no second look.
  template <bool kSimple, typename Visitor>
  Outcome Walk(Visitor& visitor);

  Match MatchAt(std::size_t at) const;

  TextInput& file_;
  std::string delimiter_;
  bool ignore_consecutive_;
  bool simple_;
  char sought_byte_;  // the delimiter's first; without one, a byte that the masks give as an end
  FindBytes find_bytes_;
  std::size_t block_;  // bytes read at a time
  RefillBuffer text_;
  std::vector<ByteMasks> masks_;
  std::uint64_t cut_lines_ = 0;
};

template <bool kSimple, typename Visitor>
FieldScanner::Outcome FieldScanner::Walk(Visitor& visitor) {
  const std::size_t delimiter_size = kSimple ? 1 : delimiter_.size();
  std::size_t field = 0;         // where the current field begins
  std::size_t scanned = 0;       // everything before this has been looked at
  std::uint64_t fields = 0;      // of this line so far
  bool after_delimiter = false;  // the current field began behind a delimiter
  bool cut = false;              // a NUL has ended this line's fields

  const auto give = [&](std::size_t end) {
    if (end - field > kLongestField) return false;
    text_[end] = '\0';
    visitor.Field(text_.data() + field, end - field);
    ++fields;
    return true;
  };
  const auto give_rest_of_line = [&](std::size_t end) {
    if (cut) return true;
    if (end > field && text_[end - 1] == '\r') --end;
    return end == field || give(end);
  };

  while (!text_.at_end()) {
    // A cut line's rest need not be kept.
    const std::size_t kept_from = cut ? text_.size() : field;
    if (text_.size() - kept_from > kLongestField + 1) return Outcome::kFieldTooLong;
    text_.Skip(kept_from);
    text_.Fill(block_, [this](std::span<char> into) { return file_.Read(into); });
    if (text_.failed()) return Outcome::kReadFailed;
    scanned -= kept_from;
    field -= field < kept_from ? field : kept_from;

    const std::size_t blocks = (text_.size() - scanned + 63) / 64;
    masks_.resize(blocks);
    find_bytes_(text_.data() + scanned, blocks, sought_byte_, masks_.data());
    if (text_.size() - scanned < blocks * 64) {
      const std::uint64_t valid = (std::uint64_t{1} << (text_.size() - scanned) % 64) - 1;
      masks_.back().delimiter &= valid;
      masks_.back().end &= valid;
    }

    std::size_t base = scanned;
    scanned = text_.size();
    for (const ByteMasks& found : masks_) {
      // What a NUL cut off may be gigabytes of NULs.
      if (cut && std::memchr(text_.data() + base, '\n',
                             text_.size() - base < 64 ? text_.size() - base : 64) == nullptr) {
        base += 64;
        continue;
      }
      if constexpr (kSimple && Visitor::kCountsOnly) {
        if (found.end == 0) {
          if (found.delimiter != 0) {
            const auto first = static_cast<unsigned>(std::countr_zero(found.delimiter));
            if (base + first - field > kLongestField) return Outcome::kFieldTooLong;
            std::uint64_t ends = found.delimiter;
            // Of a run of delimiters only the first ends a field.
            if (ignore_consecutive_)
              ends &= ~(ends << 1 | (after_delimiter && field == base ? 1U : 0U));
            const auto count = static_cast<unsigned>(std::popcount(ends));
            visitor.Fields(count);
            fields += count;
            field = base + 64 - static_cast<unsigned>(std::countl_zero(found.delimiter));
            after_delimiter = true;
          }
          base += 64;
          continue;
        }
      }
      for (std::uint64_t bits = found.delimiter | found.end; bits != 0; bits &= bits - 1) {
        const std::size_t at = base + static_cast<unsigned>(std::countr_zero(bits));
        const char byte = text_[at];
        if (byte == '\n') {
          if (!give_rest_of_line(at)) return Outcome::kFieldTooLong;
          if (!visitor.EndLine()) return Outcome::kStopped;
          field = at + 1;
          fields = 0;
          after_delimiter = false;
          cut = false;
        } else if (cut || at < field) {
          continue;
        } else if (byte == '\0') {
          if (at > field && !give(at)) return Outcome::kFieldTooLong;
          cut = true;
          ++cut_lines_;
        } else {
          if constexpr (!kSimple) {
            const Match match = MatchAt(at);
            if (match == Match::kNo) continue;
            if (match == Match::kNeedsMore) {
              scanned = at;
              break;
            }
          }
          if (!(ignore_consecutive_ && after_delimiter && at == field) && !give(at))
            return Outcome::kFieldTooLong;
          field = at + delimiter_size;
          after_delimiter = true;
        }
      }
      if (!kSimple && scanned != text_.size()) break;
      base += 64;
    }
  }

  if (!give_rest_of_line(text_.size())) return Outcome::kFieldTooLong;
  if (fields > 0 && !visitor.EndLine()) return Outcome::kStopped;
  return Outcome::kEnd;
}

}  // namespace nvimport
