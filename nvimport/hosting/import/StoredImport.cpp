#include "nvimport/hosting/import/StoredImport.h"

#include <algorithm>
#include <array>

namespace nvimport {

namespace {

// No format's bytes begin so: it would be the length of a text of gigabytes.
constexpr std::array<unsigned char, 5> kHead{'N', 'v', 'I', 'R', 1};
constexpr std::size_t kMark = 4;  // of the head, without the layout

}  // namespace

std::vector<unsigned char> StoredImport::Bytes() const {
  std::vector<unsigned char> bytes(kHead.begin(), kHead.end());
  bytes.push_back(kept_rules ? 1 : 0);
  bytes.insert(bytes.end(), options.begin(), options.end());
  return bytes;
}

std::optional<StoredImport> StoredImport::Parse(std::span<const unsigned char> bytes) {
  const bool is_record =
      bytes.size() >= kMark && std::equal(kHead.begin(), kHead.begin() + kMark, bytes.begin());
  if (!is_record) return StoredImport{true, {bytes.begin(), bytes.end()}};
  if (bytes.size() <= kHead.size() || bytes[kMark] != kHead[kMark] || bytes[kHead.size()] > 1)
    return std::nullopt;
  const auto options = bytes.subspan(kHead.size() + 1);
  return StoredImport{bytes[kHead.size()] == 1, {options.begin(), options.end()}};
}

}  // namespace nvimport
