#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nvimport {

// Puts Bruker OPUS files together, block by block.
struct OpusFixture {
  static constexpr std::uint32_t kAbsorbance = 0x100f;
  static constexpr std::uint32_t kSampleSpectrum = 0x407;
  static constexpr std::uint32_t kSampleInterferogram = 0x807;
  static constexpr std::uint32_t kSampleOrigin = 0xa0;
  static constexpr std::uint32_t kSeriesOf = 0x100000;  // added to a type
  static constexpr std::uint32_t kOriginal = 0x40000000;

  template <typename Value>
  static std::string Bytes(Value value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
  }
  template <typename Value>
  static std::string Values(const std::vector<Value>& values) {
    std::string bytes;
    for (const Value value : values) bytes += Bytes(value);
    return bytes;
  }
  static std::string Parameter(std::string_view name, std::uint16_t type, std::string value) {
    value.resize((value.size() + 1) / 2 * 2);
    return std::string(name) + '\0' + Bytes(type) +
           Bytes(static_cast<std::uint16_t>(value.size() / 2)) + value;
  }
  static std::string Whole(std::string_view name, std::int32_t value) {
    return Parameter(name, 0, Bytes(value));
  }
  static std::string Number(std::string_view name, double value) {
    return Parameter(name, 1, Bytes(value));
  }
  static std::string Text(std::string_view name, std::string_view value) {
    return Parameter(name, 2, std::string(value) + '\0');
  }
  // What stands before counts, of several of a name the last.
  static std::string Status(std::int32_t points, double first, double last,
                            const std::string& more = "") {
    return Whole("NPT", points) + Number("FXV", first) + Number("LXV", last) + more;
  }

  // Adds a block.
  OpusFixture& Add(std::uint32_t type, std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    blocks.emplace_back(type, std::move(bytes));
    return *this;
  }
  // Adds one of data and its status block.
  OpusFixture& AddData(std::uint32_t type, const std::string& status, std::string data) {
    return Add(type | 0x10, status).Add(type, std::move(data));
  }
  // The same on the x values 10, 8 and so on.
  OpusFixture& AddSpectrum(std::uint32_t type, const std::vector<float>& values,
                           const std::string& more = "") {
    const auto points = static_cast<std::int32_t>(values.size());
    return AddData(type, Status(points, 10, 12 - 2 * points, more), Values(values));
  }

  std::string File() const {
    const auto count = static_cast<std::int32_t>(blocks.size());
    std::string entries;
    std::string data;
    std::int32_t at = 24 + 12 * count;
    for (const auto& [type, bytes] : blocks) {
      entries += Bytes(type) + Bytes(static_cast<std::int32_t>(bytes.size() / 4)) + Bytes(at);
      at += static_cast<std::int32_t>(bytes.size());
      data += bytes;
    }
    return "\x0a\x0a\xfe\xfe" + Bytes(920622.0) + Bytes(std::int32_t{24}) + Bytes(count) +
           Bytes(count) + entries + data;
  }

  std::vector<std::pair<std::uint32_t, std::string>> blocks{};
};

}  // namespace nvimport
