#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace nvimport {

// A chromatogram or spectra over time, whose times are 0 to 2 minutes and whose scale is 0.5. A
// test names only what it changes.
struct ChemStationFixture {
  struct Text {
    std::size_t at;
    std::string text;
  };

  int version = 130;
  std::string type = "LC DATA FILE";
  std::vector<Text> texts = {};
  double first_time = 0;
  double last_time = 120'000;
  std::int32_t largest = 0;
  std::int32_t smallest = 0;
  std::uint16_t step = 60;  // in seconds
  double scale = 0.5;
  double intercept = 0;
  std::uint32_t scans = 0;
  std::string body = {};
  std::string index = {};

  bool is_wide() const { return version > 100; }
  bool has_scans() const { return version == 31 || version == 131; }
  std::size_t header_size() const {
    if (has_scans()) return is_wide() ? 4096 : 512;
    return is_wide() ? 6144 : 1024;
  }

  template <typename Number>
  static std::string Little(Number number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
  }
  template <typename Number>
  static std::string Big(Number number) {
    std::string bytes = Little(number);
    std::ranges::reverse(bytes);
    return bytes;
  }

  // A segment of differences, each a number of 16 bits or what Absolute makes.
  static std::string Segment(const std::vector<std::string>& values) {
    std::string bytes = {0x10, static_cast<char>(values.size())};
    for (const std::string& value : values) bytes += value;
    return bytes;
  }
  static std::string Delta(std::int16_t delta) { return Big(delta); }
  static std::string Absolute(std::int32_t value) { return Delta(INT16_MIN) + Big(value); }
  static std::string DoubleAbsolute(std::int64_t value) {
    return Delta(INT16_MAX) + Big(value).substr(2);
  }

  // A spectrum from 200 nm on, in steps of 2.
  static std::string Scan(std::int32_t time, const std::string& values, int points = 3,
                          std::uint16_t first = 4000) {
    const auto last = static_cast<std::uint16_t>(first + 40 * (points - 1));
    return Little<std::uint16_t>(67) + Little(static_cast<std::uint16_t>(22 + values.size())) +
           Little(time) + Little(first) + Little(last) + Little<std::uint16_t>(40) +
           std::string(8, '\0') + values;
  }
  // Adds one, with its place in the index.
  ChemStationFixture& Add(std::int32_t time, const std::string& scan) {
    index += Little(static_cast<std::uint32_t>(header_size() + body.size())) + Little(time) + "xx";
    body += scan;
    ++scans;
    return *this;
  }

  std::string Bytes() const {
    std::string bytes(header_size(), '\0');
    const auto put = [&](std::size_t at, const std::string& field) {
      bytes.replace(at, field.size(), field);
    };
    const auto text = [&](std::size_t at, const std::string& one) {
      std::string field(1, static_cast<char>(one.size()));
      for (const char c : one) field += is_wide() ? std::string{c, '\0'} : std::string{c};
      put(at, field);
    };
    const std::string number = std::to_string(version);
    put(0, static_cast<char>(number.size()) + number);
    text(is_wide() ? 347 : 4, type);
    for (const Text& one : texts) text(one.at, one.text);
    put(248, Big(static_cast<std::uint32_t>(version)));
    put(252, Big<std::uint16_t>(7) + Big<std::uint16_t>(8) + Big<std::uint16_t>(9));
    put(278, Big(scans));
    if (has_scans()) {
      if (!index.empty()) put(260, Big(static_cast<std::uint32_t>(header_size() + body.size())));
      put(is_wide() ? 3085 : 318, Big(scale));
    } else {
      put(264, Big(static_cast<std::uint32_t>(header_size() / 512 + 1)));
      const bool is_float = version == 81 || version > 178;
      for (const auto& [at, time] : {std::pair(282, first_time), std::pair(286, last_time)})
        put(static_cast<std::size_t>(at),
            is_float ? Big(static_cast<float>(time)) : Big(static_cast<std::int32_t>(time)));
      put(290, Big(largest) + Big(smallest));
      if (is_wide()) put(4122, Big(step) + Big<std::uint16_t>(1));
      put(is_wide() ? 4724 : 636, Big(intercept) + Big(scale));
    }
    bytes += body;
    if (!index.empty())
      bytes += Little<std::uint16_t>(68) + Little(static_cast<std::uint16_t>(6 + index.size())) +
               Little<std::uint16_t>(0) + index;
    return bytes;
  }
};

}  // namespace nvimport
