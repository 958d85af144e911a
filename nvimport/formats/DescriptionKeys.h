#pragma once

#include <span>
#include <string_view>

#include "nvimport/framework/Description.h"
#include "nvimport/platform/Budget.h"

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

// Of compound files the names of their summary properties and records, of packages those of
// elements.
inline constexpr KeySource kWorkbookKeys[] = {
    {"Title", "title"},
    {"Subject", "subject"},
    {"Author", "author"},
    {"Keywords", "keywords"},
    {"Comments", "comment"},
    {"Template", "template"},
    {"Last Saved By", "last-author"},
    {"Revision Number", "revision"},
    {"Total Editing Time", "editing-time"},
    {"Last Printed", "printed"},
    {"Create Time/Date", "created"},
    {"Last Saved Time/Date", "modified"},
    {"Name of Creating Application", "application"},
    {"Category", "category"},
    {"Manager", "manager"},
    {"Company", "company"},
    {"Version", "application-version"},
    {"Content Type", "content-type"},
    {"Content Status", "content-status"},
    {"Document Language", "language"},
    {"Document Version", "document-version"},
    {"BOF", "version"},
    {"CODEPAGE", "code-page"},
    {"DATEMODE", "date-system"},
    {"BOUNDSHEET", "worksheet"},
    {"BOUNDSHEET hidden", "hidden-worksheet"},
    {"BOUNDSHEET very hidden", "very-hidden-worksheet"},
    {"BUNDLEHEADER", "worksheet"},
    {"DIMENSIONS", "stated-range"},
    {"title", "title"},
    {"subject", "subject"},
    {"creator", "author"},
    {"keywords", "keywords"},
    {"description", "comment"},
    {"lastModifiedBy", "last-author"},
    {"revision", "revision"},
    {"lastPrinted", "printed"},
    {"created", "created"},
    {"modified", "modified"},
    {"category", "category"},
    {"contentType", "content-type"},
    {"contentStatus", "content-status"},
    {"language", "language"},
    {"version", "document-version"},
    {"Application", "application"},
    {"AppVersion", "application-version"},
    {"TotalTime", "editing-time"},
    {"date1904", "date-system"},
    {"sheet", "worksheet"},
    {"sheet hidden", "hidden-worksheet"},
    {"sheet veryHidden", "very-hidden-worksheet"},
    {"dimension", "stated-range"},
    {"found columns", "found-columns"},
    {"found rows", "found-rows"},
};

inline constexpr KeySource kTivonKeys[] = {
    {"stream", "worksheet"},
};

inline constexpr KeySource kTextKeys[] = {
    {"byte order mark", "byte-order-mark"},
    {"encoding", "encoding"},
    {"line ends", "line-ends"},
    {"sep=", "delimiter"},
    {"delimiter", "delimiter"},
    {"header row", "header-row"},
};

inline constexpr KeySource kDifKeys[] = {
    {"TABLE", "title"},          {"TABLE version", "version"},   {"VECTORS", "stated-columns"},
    {"TUPLES", "stated-rows"},   {"VECTORS comment", "comment"}, {"TUPLES comment", "comment"},
    {"DATA comment", "comment"}, {"COMMENT", "comment"},
};

inline constexpr KeySource kLotusKeys[] = {
    {"BOF", "version"},
    {"RANGE", "stated-range"},
};

// All of them: docs/descriptions.md has a row for each.
inline constexpr FormatKeys kFormatKeys[] = {
    {"JCAMP-DX", kJcampKeys},    {"GalacticSPC", kSpcKeys},   {"NSAS", kNsasKeys},
    {"Brimrose", kBrimroseKeys}, {"Workbook", kWorkbookKeys}, {"TIVON", kTivonKeys},
    {"Text and CSV", kTextKeys}, {"DIF", kDifKeys},           {"Lotus 1-2-3", kLotusKeys},
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
  // The same of any number of statements; false when the budget has not what it takes.
  [[nodiscard]] bool StateWithin(Budget& budget, std::string_view label, std::string_view value) {
    return TakeFor(budget, label, value) && (State(label, value), true);
  }
  // Draws what a statement takes, in a list that moves as it grows.
  [[nodiscard]] bool TakeFor(Budget& budget, std::string_view label, std::string_view value) {
    if (budget.Take(3 * Description::kForEach + label.size() + value.size())) return true;
    description_.AddCut(1);
    return false;
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
