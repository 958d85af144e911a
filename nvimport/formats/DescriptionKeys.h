#pragma once

#include <span>
#include <string_view>

#include "nvimport/framework/Description.h"

namespace nvimport {

// Where a normalised key of statements comes from: a label of a format, as its published layout has
// it.
struct KeySource {
  std::string_view label;
  std::string_view key;
};

// The labels of one format that have keys.
struct FormatKeys {
  std::string_view format;
  std::span<const KeySource> sources;
};

inline constexpr KeySource kJcampKeys[] = {
    {"TITLE", "title"},
};

inline constexpr KeySource kSpcKeys[] = {
    {"fdate", "date"},
};

inline constexpr KeySource kNsasKeys[] = {
    {"instrument model", "instrument"},
};

inline constexpr KeySource kBrimroseKeys[] = {
    {"sample", "sample"},
};

inline constexpr KeySource kWorkbookKeys[] = {
    {"title", "title"},
};

inline constexpr KeySource kTextKeys[] = {
    {"encoding", "encoding"},
};

inline constexpr KeySource kDifKeys[] = {
    {"TABLE", "title"},
};

inline constexpr KeySource kLotusKeys[] = {
    {"BOF", "version"},
};

// All of them: docs/descriptions.md has a row for each.
inline constexpr FormatKeys kFormatKeys[] = {
    {"JCAMP-DX", kJcampKeys},    {"GalacticSPC", kSpcKeys},   {"NSAS", kNsasKeys},
    {"Brimrose", kBrimroseKeys}, {"Workbook", kWorkbookKeys}, {"Text and CSV", kTextKeys},
    {"DIF", kDifKeys},           {"Lotus 1-2-3", kLotusKeys},
};

// Adds the statements of one format with their keys.
class Stating {
 public:
  Stating(Description& description, std::span<const KeySource> keys)
      : description_(description), keys_(keys) {}

  // A statement that is there even if it says nothing.
  void State(std::string_view label, std::string_view value, int row = 0) {
    description_.State(label, KeyOf(label), value, row);
  }
  void StateIfAny(std::string_view label, std::string_view value, int row = 0) {
    if (!value.empty()) State(label, value, row);
  }
  Description& description() { return description_; }

 private:
  std::string_view KeyOf(std::string_view label) const {
    for (const KeySource& source : keys_)
      if (source.label == label) return source.key;
    return {};
  }

  Description& description_;
  std::span<const KeySource> keys_;
};

}  // namespace nvimport
