#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "nvimport/formats/text/TextInput.h"
#include "nvimport/formats/text/TextScan.h"
#include "nvimport/platform/RefillBuffer.h"

namespace nvimport {

// How a walk through a table ended.
enum class CsvOutcome { kEnd, kStopped, kReadFailed, kFieldTooLong, kNotClosed };

// The size of a table: its longest line, in fields, and its lines.
struct CsvSize {
  std::uint64_t columns = 0;
  std::uint64_t rows = 0;
};

// Walks the lines and fields of comma-separated values, holding a block of the file and the field
// that crosses into the next one.
//
// A line ends at a line feed, a CR, or both. A field that begins with the quote goes on to the next
// quote, whatever stands between; two quotes there are one character. What follows the closing
// quote belongs to the field as it stands, and quotes elsewhere are characters. An empty line has
// no field; a delimiter is always followed by one. What follows the last line end is a line only if
// it is there.
//
// The visitor offers
//   void Field(const char* text, std::size_t length)
//                                  the next field of the line, NUL-terminated in the block;
//   void SkipField()               the same of an empty one;
//   bool EndLine()                 after each line; false stops the walk.
class CsvScanner {
 public:
  using Outcome = CsvOutcome;

  // `delimiter` and `quote` differ and are no line ends, but for kNoQuote.
  CsvScanner(TextInput& file, char delimiter, char quote,
             FindCsvBytes find_bytes = BestFindCsvBytes());

  // Walks from the file's current position.
  template <typename Visitor>
  Outcome Walk(Visitor& visitor);

  // Finds the size from there on, `unwanted_lines` of the start left out.
  Outcome Measure(int unwanted_lines, CsvSize& size);

  // Where the field begins that is too long or not closed, counted from where the walk did.
  std::uint64_t failed_field() const { return failed_field_; }

  // Fields that a NUL cut short.
  std::uint64_t cut_fields() const { return cut_fields_; }

 private:
  // Reads on, keeping what lies from `kept_from` on, and finds the masks of what was not scanned
  // yet. False at the end, and when the read failed.
  bool Next(std::size_t kept_from);

  // The delimiters and line ends of the next 64 bytes that stand outside quotes.
  std::uint64_t Separators(const CsvMasks& found);
  std::uint64_t SeparatorsOneByOne(const CsvMasks& found);

  // Takes the quotes off the field from `begin` to `end`, which begins with one; its new end.
  std::size_t Unquote(std::size_t begin, std::size_t end);

  template <typename Visitor>
  void Give(Visitor& visitor, std::size_t begin, std::size_t end);
  void CountCut(std::size_t begin, std::size_t end);

  Outcome FailAt(Outcome outcome, std::size_t field) {
    failed_field_ = text_.position() + field;
    return outcome;
  }

  TextInput& file_;
  char delimiter_;
  char quote_;
  FindCsvBytes find_bytes_;
  std::size_t block_;  // bytes read at a time
  RefillBuffer text_;
  std::vector<CsvMasks> masks_;
  std::size_t base_ = 0;     // where the masks begin
  std::size_t scanned_ = 0;  // where they end
  bool holds_nul_ = false;   // somewhere in the text here
  // At the end of the last 64 bytes: all ones inside quotes; whether a quote that comes next opens.
  std::uint64_t quoted_ = 0;
  std::uint64_t after_separator_ = 1;
  std::uint64_t after_quote_ = 0;
  bool tidy_ = true;           // no quote of the last 64 bytes stands inside a field
  std::size_t tidy_from_ = 0;  // fields that begin from here on hold no quotes but around them
  std::uint64_t failed_field_ = 0;
  std::uint64_t cut_fields_ = 0;
};

inline std::uint64_t CsvScanner::Separators(const CsvMasks& found) {
  const std::uint64_t separators = found.delimiter | found.end;
  tidy_ = true;
  if (found.quote == 0) {
    after_quote_ = 0;
    if (quoted_ != 0) return 0;
    after_separator_ = separators >> 63;
    return separators;
  }
  // Inside are the bytes behind an odd number of quotes, if each of them opens or closes.
  std::uint64_t inside = found.quote;
  for (const unsigned shift : {1U, 2U, 4U, 8U, 16U, 32U}) inside ^= inside << shift;
  inside ^= quoted_;
  const std::uint64_t outer = separators & ~inside;
  const std::uint64_t closing = found.quote & ~inside;
  const std::uint64_t inner = found.quote & inside & ~(outer << 1 | after_separator_);
  tidy_ = inner == 0;
  if ((inner & ~(closing << 1 | after_quote_)) != 0) return SeparatorsOneByOne(found);
  quoted_ = inside >> 63 != 0 ? ~std::uint64_t{0} : 0;
  after_separator_ = outer >> 63;
  after_quote_ = closing >> 63;
  return outer;
}

template <typename Visitor>
void CsvScanner::Give(Visitor& visitor, std::size_t begin, std::size_t end) {
  if (end > begin && text_[begin] == quote_) {
    const bool is_tidy = begin >= tidy_from_ && text_[end - 1] == quote_;
    end = is_tidy ? end - 1 : Unquote(begin, end);
    ++begin;
  }
  if (holds_nul_) CountCut(begin, end);
  text_[end] = '\0';
  if (text_[begin] == '\0') return visitor.SkipField();
  const char* const text = text_.data() + begin;
  visitor.Field(text, holds_nul_ ? std::strlen(text) : end - begin);
}

template <typename Visitor>
CsvScanner::Outcome CsvScanner::Walk(Visitor& visitor) {
  std::size_t field = 0;    // where the current field begins
  bool begins_line = true;  // it is its line's first
  while (Next(field)) {
    tidy_from_ -= std::min(tidy_from_, field);
    field = 0;
    std::size_t base = base_;
    for (const CsvMasks& found : masks_) {
      std::uint64_t bits = Separators(found);
      if (!tidy_) tidy_from_ = base + 64;
      for (; bits != 0; bits &= bits - 1) {
        const std::size_t at = base + static_cast<unsigned>(std::countr_zero(bits));
        if (at - field > kLongestField) return FailAt(Outcome::kFieldTooLong, field);
        if (text_[at] == delimiter_) {
          Give(visitor, field, at);
          begins_line = false;
        } else {
          const bool is_pair = text_[at] == '\n' && at > field && text_[at - 1] == '\r';
          const std::size_t end = is_pair ? at - 1 : at;
          if (!begins_line || end > field) Give(visitor, field, end);
          if (!visitor.EndLine()) return Outcome::kStopped;
          begins_line = true;
        }
        field = at + 1;
      }
      base += 64;
    }
    if (std::min(scanned_, text_.size()) - field > kLongestField)
      return FailAt(Outcome::kFieldTooLong, field);
  }
  if (text_.failed()) return Outcome::kReadFailed;
  if (quoted_ != 0) return FailAt(Outcome::kNotClosed, field);
  if (begins_line && field == text_.size()) return Outcome::kEnd;
  Give(visitor, field, text_.size());
  return visitor.EndLine() ? Outcome::kEnd : Outcome::kStopped;
}

}  // namespace nvimport
