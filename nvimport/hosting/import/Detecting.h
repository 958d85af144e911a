#pragma once

#include <string>
#include <vector>

#include "nvimport/framework/FormatDetection.h"
#include "nvimport/platform/Export.h"

namespace nvimport {

// What the formats say of the file at `path`, those that can be read by the kept rules or all. Of
// all, one that the content leaves no doubt of is settled where nothing but the name speaks for
// others: a workbook may be called anything.
NVIMPORT_API Detection DetectFormat(const std::string& path, bool kept_rules = false);

// What an import takes a file for by itself: as the formats' own answers settle, else the content.
struct SettledFormat {
  int format = 0;              // 0 where that can't be told; one that has no reader says so
  const char* pairs = "";      // what the format can't tell of the file by itself, as its options
  bool is_by_content = false;  // rather than by the formats' answers
  std::vector<int> open{};     // those that could be right besides
};
NVIMPORT_API SettledFormat SettleFormat(const std::string& path, bool kept_rules);

// Whether a file that nobody named, but its folder, can be read: as `format`, or else (0) as the
// one that is settled without asking.
NVIMPORT_API bool IsReadable(const std::string& path, bool kept_rules, int format = 0);

// Whether there is a reader of the format by these rules.
NVIMPORT_API bool HasReaderBy(bool kept_rules, int format);

// Why the formats' answers about the file at `path` came to what `detection` says.
NVIMPORT_API std::string DetectionReason(const Detection& detection, const std::string& path);

// Whether it is a folder in which an instrument's program keeps one run (NAME.D), which is one
// input.
NVIMPORT_API bool IsOneInput(const std::string& folder);

}  // namespace nvimport
