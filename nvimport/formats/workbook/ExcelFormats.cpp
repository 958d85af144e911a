// Before BIFF5 a FORMAT record's number is its place among them.
//   FORMAT  0x041E  0 uint16 index     2 uint8 length, 3 text; BIFF8: 2 a string
//           0x001E  0 uint8 length, 1 text
//   XF      0x00E0  2 uint16 format    0x0243, 0x0443  1 uint8 format
//           0x0043  2 uint8 format in the lower six bits

#include "nvimport/formats/workbook/ExcelFormats.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

#include "nvimport/formats/workbook/ExcelStrings.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

// Kept: two letters, whatever they stand for. What comes before a NUL counts.
bool IsDateByLetters(std::string text) {
  for (std::size_t i = 0; i < std::min<std::size_t>(text.size(), 2); ++i)
    if (text[i] == '\0') text[i] = '_';
  text.resize(std::min(text.find('\0'), text.size()));
  const std::size_t first = text.find_first_of("ymdhms");
  return first != std::string::npos && text.find_first_of("ymdhms", first + 1) != std::string::npos;
}

constexpr std::uint16_t kOldFormat = 0x001E;
constexpr std::uint16_t kBiff2Xf = 0x0043;
constexpr std::uint16_t kBiff5Xf = 0x00E0;
constexpr int kBiff5Version = 8;

struct Range {
  std::size_t first;
  std::size_t last;
};
constexpr Range kDates[] = {{14, 22}, {45, 47}};
// Where Excel speaks Chinese, Japanese or Korean.
constexpr Range kEastAsianDates[] = {{27, 36}, {50, 58}};
constexpr Range kTimes[] = {{18, 21}, {32, 33}, {45, 47}};

bool IsWithin(std::span<const Range> ranges, std::size_t format) {
  return std::ranges::any_of(
      ranges, [&](const Range& range) { return format >= range.first && format <= range.last; });
}

constexpr std::string_view kHalves = "AM/PM";
constexpr std::string_view kLetters = "ymdhs";
constexpr std::string_view kMoreLetters = "geba";

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsOfWord(char c) {
  const char lower = Lower(c);
  return (lower >= 'a' && lower <= 'z') || static_cast<unsigned char>(c) >= 0x80;
}

// How often the character at `at` stands there.
std::size_t RunAt(std::string_view word, std::size_t at) {
  std::size_t end = at + 1;
  while (end < word.size() && Lower(word[end]) == Lower(word[at])) ++end;
  return end - at;
}

// Whether a word is one of a language, as what Excel calls General in Dutch or a unit: it has a
// letter that no date has, and none of a date twice in a row.
bool IsName(std::string_view word) {
  bool has_other = false;
  for (std::size_t i = 0; i < word.size(); i += RunAt(word, i)) {
    const char c = Lower(word[i]);
    const bool is_letter = kLetters.find(c) != std::string_view::npos;
    if (is_letter && RunAt(word, i) > 1) return false;
    has_other = has_other || (c >= 'a' && c <= 'z' && !is_letter &&
                              kMoreLetters.find(c) == std::string_view::npos);
  }
  return has_other;
}

// What the letters of a format show. An m behind hours or before seconds is minutes.
class DateLetters {
 public:
  void Take(std::string_view word) {
    for (std::size_t i = 0; i < word.size(); i += RunAt(word, i))
      if (kLetters.find(Lower(word[i])) != std::string_view::npos)
        TakeRun(Lower(word[i]), RunAt(word, i));
  }
  DateForm Form() const {
    if (has_days_ || may_be_month_) return DateForm::kDays;
    return has_time_ ? DateForm::kTime : DateForm::kNone;
  }

 private:
  void TakeRun(char letter, std::size_t length) {
    has_days_ = has_days_ || (may_be_month_ && letter != 's');
    may_be_month_ = letter == 'm' && length <= 2 && before_ != 'h';
    if (letter == 'y' || letter == 'd' || (letter == 'm' && length > 2))
      has_days_ = true;
    else
      has_time_ = true;
    before_ = letter;
  }

  bool has_days_ = false;
  bool has_time_ = false;
  bool may_be_month_ = false;
  char before_ = 0;
};

}  // namespace

DateForm DateFormOf(std::size_t built_in) {
  constexpr std::size_t kElapsed = 46;
  if (!IsWithin(kDates, built_in) && !IsWithin(kEastAsianDates, built_in)) return DateForm::kNone;
  if (built_in == kElapsed) return DateForm::kElapsed;
  return IsWithin(kTimes, built_in) ? DateForm::kTime : DateForm::kDays;
}

DateForm DateFormOf(std::string_view text) {
  DateLetters letters;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      i = std::min(text.find('"', i + 1), text.size());
    } else if (c == '[') {
      const std::size_t end = std::min(text.find(']', i), text.size());
      const std::string_view inside = text.substr(i + 1, end - i - 1);
      if (!inside.empty() && inside.find_first_not_of("hHmMsS") == std::string_view::npos)
        return DateForm::kElapsed;
      i = end;
    } else if (c == '\\' || c == '_' || c == '*') {
      ++i;
    } else if (IsOfWord(c)) {
      std::size_t end = i + 1;
      while (end < text.size() && IsOfWord(text[end])) ++end;
      const std::string_view word = text.substr(i, end - i);
      if (EqualIgnoringCase(text.substr(i, kHalves.size()), kHalves))
        end = i + kHalves.size();
      else if (!IsName(word))
        letters.Take(word);
      i = end - 1;
    }
  }
  return letters.Form();
}

ExcelFormats::ExcelFormats() {
  constexpr std::size_t kBuiltIn = 64;
  for (std::size_t format = 0; format < kBuiltIn; ++format) {
    by_letters_[format] = IsWithin(kDates, format);
    by_grammar_[format] = DateFormOf(format);
  }
}

void ExcelFormats::TakeFormat(const BiffRecord& record, int version, bool is_biff8) {
  const std::size_t head = record.id == kOldFormat ? 0 : 2;
  const std::size_t format = head != 0 && version == kBiff5Version ? record.U16(0) : next_format_++;
  std::string text(record.Text(head + 1, record.U8(head)));
  // Kept: once a date, it stays one. BIFF8's text is read from within the string's own head.
  if (IsDateByLetters(text)) by_letters_[format] = true;
  if (is_biff8 && head != 0) ReadExcelString(record, head, text, /*as_utf8=*/false);
  by_grammar_[format] = DateFormOf(text);
}

void ExcelFormats::TakeXf(const BiffRecord& record) {
  std::uint16_t format = record.U8(1);
  if (record.id == kBiff5Xf) format = record.U16(2);
  if (record.id == kBiff2Xf) format = record.U8(2) & 0x3F;
  xfs_.push_back({format, by_letters_[format]});
}

ExcelXf ExcelFormats::Xf(std::size_t index, bool by_letters) const {
  const DateForm form = by_grammar_[xfs_[index].format];
  const bool is_date = form != DateForm::kNone;
  const bool is_taken = by_letters ? xfs_[index].is_date_by_letters : is_date;
  if (is_taken == is_date) return {form};
  return {is_taken ? DateForm::kTime : DateForm::kNone, true};
}

std::vector<ExcelXf> ExcelFormats::Xfs(bool by_letters) const {
  std::vector<ExcelXf> xfs;
  xfs.reserve(xfs_.size());
  for (std::size_t i = 0; i < xfs_.size(); ++i) xfs.push_back(Xf(i, by_letters));
  return xfs;
}

}  // namespace nvimport
