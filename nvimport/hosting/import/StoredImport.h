#pragma once

#include <optional>
#include <span>
#include <vector>

#include "nvimport/platform/Export.h"

namespace nvimport {

// What repeats an import: by which rules it read, and the option bytes of its format. As bytes, a
// record around the latter: "NvIR", a byte 1 for this layout, a byte 0 for the rules of NvImport
// Complete or 1 for the kept ones, then the format's bytes as they are.
struct StoredImport {
  bool kept_rules = false;
  std::vector<unsigned char> options{};  // of the format; empty for none

  NVIMPORT_API std::vector<unsigned char> Bytes() const;
  // Bytes without a record are a format's own, from when all imports were by the kept rules. None
  // for a record of a later layout.
  NVIMPORT_API static std::optional<StoredImport> Parse(std::span<const unsigned char> bytes);
};

}  // namespace nvimport
