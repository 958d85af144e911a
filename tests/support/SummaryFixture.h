#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/BiffFixture.h"

namespace nvimport {

// Values of properties, with their types.
inline std::string Lpstr(std::string_view text) {
  return U32(30) + U32(static_cast<std::uint32_t>(text.size() + 1)) + std::string(text) + '\0';
}
inline std::string Lpwstr(std::u16string_view text) {
  return U32(31) + U32(static_cast<std::uint32_t>(text.size() + 1)) + Wide(text) + U16(0);
}
inline std::string Filetime(std::uint64_t ticks) { return U32(64) + Bytes(ticks); }
inline std::string Page(unsigned page) { return U32(2) + U32(page); }

struct PropertySetFixture {
  std::string id;
  std::vector<std::pair<std::uint32_t, std::string>> properties;

  std::string Bytes() const {
    const auto count = static_cast<std::uint32_t>(properties.size());
    std::string list;
    std::string values;
    for (const auto& [property, value] : properties) {
      list += U32(property) + U32(8 + 8 * count + static_cast<std::uint32_t>(values.size()));
      values += value;
    }
    return U32(static_cast<std::uint32_t>(8 + list.size() + values.size())) + U32(count) + list +
           values;
  }
};

inline const std::string kSummaryId =
    "\xE0\x85\x9F\xF2\xF9\x4F\x68\x10\xAB\x91" + std::string("\x08\x00\x2B\x27\xB3\xD9", 6);
inline const std::string kDocumentId =
    "\x02\xD5\xCD\xD5\x9C\x2E\x1B\x10\x93\x97" + std::string("\x08\x00\x2B\x2C\xF9\xAE", 6);
inline const std::string kUsersId = '\x05' + kDocumentId.substr(1);

// A stream of them.
inline std::string PropertySets(const std::vector<PropertySetFixture>& sets) {
  const auto count = static_cast<std::uint32_t>(sets.size());
  std::string head = U16(0xFFFE) + U16(0) + U32(2) + std::string(16, '\0') + U32(count);
  std::string bodies;
  for (const PropertySetFixture& set : sets) {
    head += set.id + U32(28 + 20 * count + static_cast<std::uint32_t>(bodies.size()));
    bodies += set.Bytes();
  }
  return head + bodies;
}

}  // namespace nvimport
