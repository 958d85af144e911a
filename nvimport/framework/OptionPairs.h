#pragma once

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
  // The pairs of a record, none of a null or an empty one. No value when the bytes make no sense.
  static std::optional<OptionPairs> Parse(const NvImportOpenOptions* options);

  // "1,3" as numbers from 0 on; no value when it is anything else.
  static std::optional<std::vector<int>> Numbers(std::string_view text);
  // The same the other way round.
  static std::string Join(const std::vector<int>& numbers);

  std::optional<std::string_view> Find(std::string_view key) const;
  // "first,last" from 1 on, a last one of 0 for the end; the whole without that key. No value when
  // it makes no sense.
  std::optional<RangeChoice> FindRange(std::string_view key) const;
  void Set(std::string_view key, std::string value);

  // The bytes of a record.
  std::vector<unsigned char> Bytes() const;

 private:
  std::vector<std::pair<std::string, std::string>> pairs_;
};

// True when a caller gave an empty record, which a reader fills with the choices made.
inline bool TakesChoices(const NvImportOpenOptions* options) {
  return options != nullptr && options->size == 0 && options->data == nullptr;
}

}  // namespace nvimport
