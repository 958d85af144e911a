#include "nvimport/formats/text/CsvScanner.h"

#include <algorithm>
#include <cstring>

namespace nvimport {

CsvScanner::CsvScanner(TextInput& file, char delimiter, char quote, FindCsvBytes find_bytes)
    : file_(file),
      delimiter_(delimiter),
      quote_(quote),
      find_bytes_(find_bytes),
      block_(RefillBuffer::BlockFor(file.size())) {}

bool CsvScanner::Next(std::size_t kept_from) {
  if (text_.at_end()) return false;
  const std::size_t kept = text_.size() - kept_from;
  text_.Skip(kept_from);
  text_.Fill(block_, [this](std::span<char> into) { return file_.Read(into); });
  if (text_.failed()) return false;
  base_ = scanned_ - kept_from;
  // The masks of a block need the byte behind it.
  const std::size_t unscanned = text_.size() - base_;
  const std::size_t blocks = text_.at_end() ? (unscanned + 63) / 64 : (unscanned - 1) / 64;
  masks_.resize(blocks);
  find_bytes_(text_.data() + base_, blocks, delimiter_, quote_, masks_.data());
  scanned_ = base_ + blocks * 64;
  holds_nul_ = (holds_nul_ && kept > 0) ||
               std::memchr(text_.data() + kept, '\0', text_.size() - kept) != nullptr;
  return true;
}

std::uint64_t CsvScanner::SeparatorsOneByOne(const CsvMasks& found) {
  std::uint64_t outer = 0;
  // Behind a separator and a closing quote a quote opens. Anything else there makes the rest of the
  // field plain.
  std::uint64_t may_open = after_separator_ | after_quote_;
  after_separator_ = after_quote_ = 0;
  for (std::uint64_t bits = found.delimiter | found.quote | found.end; bits != 0;
       bits &= bits - 1) {
    const std::uint64_t bit = bits & (~bits + 1);
    const bool is_quote = (found.quote & bit) != 0;
    if (quoted_ != 0) {
      if (!is_quote) continue;
      quoted_ = 0;
      may_open = bit << 1;
      after_quote_ = bit >> 63;
    } else if (!is_quote) {
      outer |= bit;
      may_open = bit << 1;
      after_separator_ = bit >> 63;
    } else if (bit == may_open) {
      quoted_ = ~std::uint64_t{0};
    }
  }
  return outer;
}

std::size_t CsvScanner::Unquote(std::size_t begin, std::size_t end) {
  const char* from = text_.data() + begin + 1;
  const char* const limit = text_.data() + end;
  char* to = text_.data() + begin + 1;
  const auto keep = [&](const char* until) {
    const auto count = static_cast<std::size_t>(until - from);
    if (to != from) std::memmove(to, from, count);
    to += count;
    from = until;
  };
  while (const void* const found =
             std::memchr(from, quote_, static_cast<std::size_t>(limit - from))) {
    const char* const quote = static_cast<const char*>(found);
    const bool is_doubled = quote + 1 < limit && quote[1] == quote_;
    keep(quote + (is_doubled ? 1 : 0));
    from = quote + (is_doubled ? 2 : 1);
    if (!is_doubled) break;
  }
  keep(limit);
  return static_cast<std::size_t>(to - text_.data());
}

void CsvScanner::CountCut(std::size_t begin, std::size_t end) {
  if (std::memchr(text_.data() + begin, '\0', end - begin) != nullptr) ++cut_fields_;
}

CsvScanner::Outcome CsvScanner::Measure(int unwanted_lines, CsvSize& size) {
  std::uint64_t field = 0;   // where the current field begins, from where the walk did
  std::uint64_t line = 0;    // likewise
  std::uint64_t fields = 0;  // of the current line so far
  const auto too_long = [&](std::uint64_t end) {
    failed_field_ = field;
    return end - field > kLongestField;
  };
  const auto end_line = [&](bool is_empty) {
    if (unwanted_lines > 0) {
      --unwanted_lines;
    } else {
      if (fields > size.columns && !is_empty) size.columns = fields;
      ++size.rows;
    }
    fields = 0;
  };
  // A byte is kept for a look at what precedes a line feed.
  while (Next(scanned_ > 0 ? scanned_ - 1 : 0)) {
    const std::uint64_t position = text_.position();
    std::size_t base = base_;
    for (const CsvMasks& found : masks_) {
      std::uint64_t separators = Separators(found);
      if (separators != 0) {
        if (too_long(position + base + static_cast<unsigned>(std::countr_zero(separators))))
          return Outcome::kFieldTooLong;
        field = position + base + 64 - static_cast<unsigned>(std::countl_zero(separators));
        for (std::uint64_t ends = separators & found.end; ends != 0; ends &= ends - 1) {
          const std::uint64_t until = ends ^ (ends - 1);
          fields += static_cast<unsigned>(std::popcount(separators & until));
          separators &= ~until;
          const std::size_t at = base + static_cast<unsigned>(std::countr_zero(ends));
          const std::uint64_t length = position + at - line;
          end_line(length == 0 || (length == 1 && text_[at] == '\n' && text_[at - 1] == '\r'));
          line = position + at + 1;
        }
        fields += static_cast<unsigned>(std::popcount(separators));
      }
      base += 64;
    }
    if (too_long(position + std::min(scanned_, text_.size()))) return Outcome::kFieldTooLong;
  }
  if (text_.failed()) return Outcome::kReadFailed;
  failed_field_ = field;
  if (quoted_ != 0) return Outcome::kNotClosed;
  if (text_.position() + text_.size() > line) {
    ++fields;
    end_line(false);
  }
  return Outcome::kEnd;
}

}  // namespace nvimport
