#pragma once

#include <array>
#include <climits>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nvimport/framework/NvImport.h"
#include "nvimport/platform/Dialogs.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// Open options of the form "key=value;key=value", stored as one binary string. Keys stand in any
// order, the last of a key counts, and a reader looks only for those it knows.
class NVIMPORT_API OptionPairs {
 public:
  OptionPairs() = default;
  OptionPairs(std::initializer_list<std::pair<std::string, std::string>> pairs) : pairs_(pairs) {}

  // The pairs of a record, none of a null or an empty one. No value when the bytes make no sense.
  static std::optional<OptionPairs> Parse(const NvImportOpenOptions* options);
  // The same of their text.
  static std::optional<OptionPairs> Parse(std::string_view text);

  // Numbers as a value, "1,3".
  static std::string Join(const std::vector<int>& numbers);
  static std::string Join(RangeChoice range) { return Join(std::vector{range.first, range.last}); }
  // Names as a value: what could be taken for what stands between is a percent sign and the two
  // digits of its byte.
  static std::string JoinNames(const std::vector<std::string>& names);

  std::optional<std::string_view> Find(std::string_view key) const;
  void Set(std::string_view key, std::string value);

  bool empty() const { return pairs_.empty(); }

  // The bytes of a record.
  std::vector<unsigned char> Bytes() const;
  // A record for the static GetImportOptions of readers, see SpreadsheetOpenOptions.
  NvImportOpenOptions* NewRecord() const;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

// The pairs that a reader is given, taken key by key. The first value that makes no sense is
// logged, and fails this for good.
class NVIMPORT_API GivenOptions {
 public:
  // `source` is the reader, which the log names.
  GivenOptions(const char* source, const NvImportOpenOptions* options);

  std::optional<std::string_view> Find(std::string_view key) const { return pairs_.Find(key); }

  // Each takes the value of `key`; false once one made no sense. Without that key the range, which
  // ends with the last of all for a 0, is the whole, there are no numbers, which are from 1 to
  // `most` else, and the first of two words is meant.
  bool TakeRange(std::string_view key, RangeChoice& range);
  bool TakeNumbers(std::string_view key, std::vector<int>& numbers, int most = INT_MAX);
  bool TakeNames(std::string_view key, std::vector<std::string>& names);
  bool TakeWord(std::string_view key, const std::array<std::string_view, 2>& words, bool& second);

  // Fails for a value that makes no sense. Returns false.
  bool Refuse(std::string_view key, std::string_view value);

 private:
  const char* source_;
  OptionPairs pairs_;
  bool ok_ = true;
};

// Tells the log of a value that makes no sense.
NVIMPORT_API void LogRefusedOption(std::string_view source, std::string_view key,
                                   std::string_view value);

// True when a caller gave an empty record, which a reader fills with the choices made.
inline bool TakesChoices(const NvImportOpenOptions* options) {
  return options != nullptr && options->size == 0 && options->data == nullptr;
}

// Fills such a record with `bytes`, which live in `kept` from then on.
NVIMPORT_API void GiveChoices(std::vector<unsigned char> bytes, std::vector<unsigned char>& kept,
                              NvImportOpenOptions* options);

}  // namespace nvimport
