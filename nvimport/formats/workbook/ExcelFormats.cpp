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

bool IsWithin(std::span<const Range> ranges, std::size_t format) {
  return std::ranges::any_of(
      ranges, [&](const Range& range) { return format >= range.first && format <= range.last; });
}

}  // namespace

bool IsDateFormat(std::size_t built_in) {
  return IsWithin(kDates, built_in) || IsWithin(kEastAsianDates, built_in);
}

bool IsDateFormat(std::string_view text) {
  constexpr std::string_view kLetters = "yYmMdDhHsS";
  // What a German Excel 2 calls General.
  if (text == "Standard") return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      i = std::min(text.find('"', i + 1), text.size());
    } else if (c == '[') {
      const std::size_t end = std::min(text.find(']', i), text.size());
      const std::string_view inside = text.substr(i + 1, end - i - 1);
      if (!inside.empty() && inside.find_first_not_of("hHmMsS") == std::string_view::npos)
        return true;
      i = end;
    } else if (c == '\\' || c == '_' || c == '*') {
      ++i;
    } else if (kLetters.find(c) != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

ExcelFormats::ExcelFormats() {
  constexpr std::size_t kBuiltIn = 64;
  for (std::size_t format = 0; format < kBuiltIn; ++format) {
    by_letters_[format] = IsWithin(kDates, format);
    by_grammar_[format] = IsDateFormat(format);
  }
}

void ExcelFormats::TakeFormat(const BiffRecord& record, int version, bool is_biff8) {
  const std::size_t head = record.id == kOldFormat ? 0 : 2;
  const std::size_t format = head != 0 && version == kBiff5Version ? record.U16(0) : next_format_++;
  std::string text(record.Text(head + 1, record.U8(head)));
  // Kept: once a date, it stays one. BIFF8's text is read from within the string's own head.
  if (IsDateByLetters(text)) by_letters_[format] = true;
  if (is_biff8 && head != 0) ReadExcelString(record, head, text, /*as_utf8=*/false);
  by_grammar_[format] = IsDateFormat(text);
}

void ExcelFormats::TakeXf(const BiffRecord& record) {
  std::uint16_t format = record.U8(1);
  if (record.id == kBiff5Xf) format = record.U16(2);
  if (record.id == kBiff2Xf) format = record.U8(2) & 0x3F;
  xfs_.push_back({format, by_letters_[format]});
}

ExcelXf ExcelFormats::Xf(std::size_t index, bool by_letters) const {
  const bool is_date = by_grammar_[xfs_[index].format];
  const bool is_taken = by_letters ? xfs_[index].is_date_by_letters : is_date;
  if (is_taken) return is_date ? ExcelXf::kDate : ExcelXf::kNumberTakenForDate;
  return is_date ? ExcelXf::kDateTakenForNumber : ExcelXf::kNumber;
}

std::vector<ExcelXf> ExcelFormats::Xfs(bool by_letters) const {
  std::vector<ExcelXf> xfs;
  xfs.reserve(xfs_.size());
  for (std::size_t i = 0; i < xfs_.size(); ++i) xfs.push_back(Xf(i, by_letters));
  return xfs;
}

}  // namespace nvimport
