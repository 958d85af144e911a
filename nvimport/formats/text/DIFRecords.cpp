// Data Interchange Format: a header of topics, each a line with its name, a line "vector,value" and
// a line with a string, ended by the topic DATA (see "Data Interchange Format", Software Arts
// technical note, 1980); then pairs of lines, "type,value" and a string:
//   -1 BOT begins a row, EOD ends the data   0 a number, the string its indicator   1 a text,
//   quoted

#include "nvimport/formats/text/DIFRecords.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>

#include "nvimport/formats/text/DIFFile.h"
#include "nvimport/platform/ByteScan.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

namespace {

std::string_view View(LineReader::Line line) { return {line.data(), line.size()}; }

bool IsQuoted(std::string_view text) {
  return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

// Whether a line, which lies in a buffer with room behind it, is a short text in quotes and without
// others.
bool IsShortPlain(LineReader::Line text) {
  constexpr std::size_t kLeast = 2;
  constexpr std::size_t kMost = 32;
  if (text.size() - kLeast > kMost - kLeast) return false;
  const std::uint32_t last = std::uint32_t{1} << (text.size() - 1);
  return (FindIn32(text.data(), '"') & (last | (last - 1))) == (last | 1);
}

constexpr std::size_t kTypeSize = 32;  // a record's first line is nearly always shorter

// Whether a number, a text or a row begins here, whose first line has no quote; false also where
// that takes a closer look.
bool BeginsUsualRecord(std::span<const char> behind) {
  if (behind.size() < kTypeSize) return false;
  const char* const number = behind.data() + (behind[0] == '-' ? 1 : 0);
  if (number[1] != ',' || (number[0] != '0' && number[0] != '1')) return false;
  const std::uint32_t feeds = FindIn32(behind.data(), '\n');
  return (FindIn32(behind.data(), '"') & (feeds ^ (feeds - 1))) == 0;
}

// Where all quotes are doubled: leaves one of each two.
LineReader::Line HalveQuotes(LineReader::Line text) {
  const std::string_view all = View(text);
  const std::size_t size = text.size();
  const std::size_t first = all.find('"');
  for (std::size_t at = first; at < size; at = all.find('"', at + 2))
    if (at + 1 == size || text[at + 1] != '"') return text;
  std::size_t used = std::min(first, size);
  for (std::size_t i = used; i < size; ++i) {
    text[used++] = text[i];
    if (text[i] == '"') ++i;
  }
  return text.first(used);
}

// The whole number that `text` begins with, 0 without one.
int LenientInt(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  int number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string_view FirstWord(std::string_view text) {
  constexpr std::string_view kWhite = " \t\r\v\f";
  text.remove_prefix(std::min(text.find_first_not_of(kWhite), text.size()));
  return text.substr(0, text.find_first_of(kWhite));
}

}  // namespace

DIFRecords::DIFRecords(const DIFRules& rules, LineReader::Source read)
    : rules_(rules),
      has_plain_texts_(rules.texts_on_one_line && rules.quotes_as_they_stand),
      longest_(rules.short_lines_only ? kLongestLine : std::numeric_limits<std::size_t>::max()),
      lines_(LineReader::End::kLineFeed, longest_, std::move(read)) {}

bool DIFRecords::GetLine(Line& line) { return lines_.Next(line) && line.size() <= longest_; }

DIFRecords::Kind DIFRecords::ReadDIFHeaderEntry(Topic& topic) {
  static constexpr std::string_view kTopics[] = {"TABLE", "VECTORS", "TUPLES", "DATA"};
  topic.kind = kError;
  Line line;
  if (!GetLine(line)) return kError;
  topic.name = FirstWord(View(line)).substr(0, kLongestTopic);
  const auto* const known = std::ranges::find_if(
      kTopics, [&](std::string_view name) { return EqualIgnoringCase(topic.name, name); });
  if (!GetLine(line) || View(line).find(',') == std::string_view::npos) return kError;
  topic.numbers = View(line).substr(0, kLongestTopic);
  if (!GetLine(line)) return kError;
  const std::string_view text = View(line);
  topic.text = (IsQuoted(text) ? text.substr(1, text.size() - 2) : text).substr(0, kLongestTopic);
  topic.kind = known != std::end(kTopics) ? Kind(kTable + (known - kTopics)) : kOtherTopic;
  return topic.kind;
}

bool DIFRecords::ReadHeader(std::string& title) {
  constexpr std::size_t kLongestTitle = 49;
  return ReadHeader([&](const Topic& topic) {
    if (topic.kind == kTable) title = topic.text.substr(0, kLongestTitle);
  });
}

DIFRecords::Kind DIFRecords::ReadLongRecord(Value& value) {
  Line line;
  if (!GetLine(line)) return kError;
  type_ = View(line);
  return GetLine(line) ? TakeRecord(type_, line, value) : kError;
}

DIFRecords::Kind DIFRecords::TakeRecord(Line type, Line text, Value& value) {
  // One digit and the comma, nearly always.
  std::size_t comma = 1;
  int number = type.size() > 1 && type[1] == ',' ? type[0] - '0' : -1;
  if (number < 0 || number > 9) {
    comma = View(type).find(',');
    if (comma == std::string_view::npos) return kError;
    number = LenientInt(View(type).substr(0, comma));
  }
  value = WithNul(type.subspan(comma + 1));
  const std::string_view word = View(text);
  switch (number) {
    case -1:
      if (View(value) != "0") return kSkipped;
      if (word == "BOT") return kBeginning;
      return word == "EOD" ? kEnd : kSkipped;
    case 0:
      return word == "V" ? kNumber : TakeNumber(word, value);
    case 1:
      if (has_plain_texts_
              ? !IsQuoted(word)
              : !IsShortPlain(text) || !BeginsUsualRecord(lines_.Behind(text, kTypeSize)))
        return TakeText(text, value);
      value = WithNul(text.subspan(1, text.size() - 2));
      return kText;
    default:
      return kSkipped;
  }
}

// Whether a record may begin behind a text: where none does, a quote that ends its line is its own.
bool DIFRecords::IsAtRecord(Line& text) {
  const auto next = lines_.Behind(text, kTypeSize);
  const std::string_view behind(next.data(), next.size());
  const std::string_view type = behind.substr(0, behind.find('\n'));
  const std::string_view number = type.substr(0, type.find(','));
  const bool is_type = number.size() < type.size() &&
                       number.find_first_of("0123456789") != std::string_view::npos &&
                       number.find_first_not_of(" \t+-0123456789") == std::string_view::npos;
  return behind.empty() || (is_type && type.find('"') == std::string_view::npos);
}

// A text that may be one of several lines, have doubled quotes, or none around it.
DIFRecords::Kind DIFRecords::TakeText(Line text, Value& value) {
  const bool is_open = text.size() > 0 && text[0] == '"';
  if (is_open && !rules_.texts_on_one_line) {
    while (!IsQuoted(View(text)) || !IsAtRecord(text)) {
      were_texts_plain_ = false;
      if (!lines_.Extend(text)) return kError;
    }
  }
  if (IsQuoted(View(text))) {
    const Line inner = text.subspan(1, text.size() - 2);
    were_texts_plain_ = were_texts_plain_ && View(inner).find('"') == std::string_view::npos;
    value = WithNul(rules_.quotes_as_they_stand ? inner : HalveQuotes(inner));
    return kText;
  }
  were_texts_plain_ = false;
  value = WithNul(text);
  return is_open || rules_.texts_need_quotes ? kError : kText;
}

DIFRecords::Kind DIFRecords::TakeNumber(std::string_view indicator, Value& value) {
  truth_.clear();
  // Kept: lower case only, though other writers say TRUE and FALSE.
  const bool is_true = EqualIgnoringCase(indicator, "true");
  if (is_true || EqualIgnoringCase(indicator, "false")) {
    if (indicator.front() == 't' || indicator.front() == 'f' || !rules_.only_lower_case_truth)
      truth_ = is_true ? "1" : "0";
    else
      ++lost_truths_;
  }
  value = truth_;
  return indicator == "ERROR" || indicator == "NA" ? kNoValue : kNumber;
}

}  // namespace nvimport
