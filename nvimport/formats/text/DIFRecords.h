#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "nvimport/platform/LineReader.h"

namespace nvimport {

struct DIFRules;

// What a file in Data Interchange Format holds, record by record.
class DIFRecords {
 public:
  enum Kind : int {
    kError = 0,
    kTable = 1,
    kVectors = 2,
    kTuples = 3,
    kData = 4,
    kBeginning = 5,
    kEnd = 6,
    kText = 7,
    kNumber = 8,
    kOtherTopic = 9,
    kNoValue = 9,
    kSkipped = 10
  };

  static constexpr std::size_t kLongestLine = 2023;
  // Of what a topic says, so much is kept.
  static constexpr std::size_t kLongestTopic = 64 * 1024 + 1;

  // What a text or number says, with a NUL behind it. It may be written to.
  using Value = LineReader::Line;

  // Of the text that `read` begins with. `rules` must outlive this.
  DIFRecords(const DIFRules& rules, LineReader::Source read);

  // A topic of the header: its name, the two numbers of its second line, its string.
  struct Topic {
    Kind kind = kError;
    std::string name;
    std::string numbers;
    std::string text;
  };

  // Reads what precedes the records, topic by topic. False when that is damaged.
  template <typename Take>
  bool ReadHeader(Take take) {
    Topic topic;
    while (ReadDIFHeaderEntry(topic) != kError) {
      take(topic);
      if (topic.kind == kData) return true;
    }
    return false;
  }
  // The same for the title in it, of at most 49 bytes.
  bool ReadHeader(std::string& title);

  // Reads a record; kError when it is damaged or there is none.
  Kind ReadDIFRecord(Value& value);

  // Whether all texts so far were lines in quotes, without others. Who has gone through all
  // records may have it expected of them when they come again, which is faster.
  bool were_texts_plain() const { return were_texts_plain_; }
  void ExpectPlainTexts() { has_plain_texts_ = true; }

  // Numbers so far with the indicators TRUE and FALSE that became empty.
  std::uint64_t lost_truths() const { return lost_truths_; }

 private:
  using Line = LineReader::Line;

  // The next line; false when there is none or it is too long.
  bool GetLine(Line& line);
  Kind ReadDIFHeaderEntry(Topic& topic);
  Kind ReadLongRecord(Value& value);
  Kind TakeRecord(Line type, Line text, Value& value);
  Kind TakeNumber(std::string_view indicator, Value& value);
  Kind TakeText(Line text, Value& value);
  bool IsAtRecord(Line& text);
  static Value WithNul(Line line) {
    line.data()[line.size()] = '\0';
    return line;
  }

  const DIFRules& rules_;
  bool has_plain_texts_;
  bool were_texts_plain_ = true;
  std::size_t longest_;
  LineReader lines_;
  std::string type_;   // the first line of a long record
  std::string truth_;  // the value that an indicator stands for
  std::uint64_t lost_truths_ = 0;
};

inline DIFRecords::Kind DIFRecords::ReadDIFRecord(Value& value) {
  Line type;
  Line text;
  if (!lines_.NextShort(type, text)) return ReadLongRecord(value);
  // Most are numbers, "0,1.5" and "V".
  constexpr std::size_t kPrefix = 2;
  if (type.data()[0] != '0' || type.data()[1] != ',' || text.size() != 1 || text[0] != 'V')
    return TakeRecord(type, text, value);
  value = WithNul(type.subspan(kPrefix));
  return kNumber;
}

}  // namespace nvimport
