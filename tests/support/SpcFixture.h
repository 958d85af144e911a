#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace nvimport {

// A file of three points, 10, 12 and 14, without a sub-file yet. A test names only what it changes.
struct SpcFixture {
  char version = 'K';
  unsigned char flags = 0;
  int exponent = -128;
  int first_exponent = -128;  // of an old multifile
  double first_x = 10;
  double last_x = 14;
  std::int32_t points = 3;
  std::optional<std::int32_t> sub_files = {};  // else as many as there are
  std::vector<float> x = {};
  std::vector<std::string> data = {};  // each sub-file with its header

  // The bytes of values as they stand in a file.
  template <typename Value>
  static std::string Values(const std::vector<Value>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Value)};
  }

  // Adds a sub-file with a header of its own.
  template <typename Value>
  SpcFixture& Add(const std::vector<Value>& values, int own_exponent = 0) {
    std::string header(32, '\0');
    header[1] = static_cast<char>(own_exponent);
    data.push_back(header + Values(values));
    return *this;
  }

  // Adds a sub-file with an x array of its own.
  template <typename Value>
  SpcFixture& AddOwnX(const std::vector<float>& own_x, const std::vector<Value>& values) {
    std::string header(32, '\0');
    header[1] = static_cast<char>(exponent);
    const auto own_points = static_cast<std::int32_t>(own_x.size());
    std::memcpy(&header[16], &own_points, sizeof own_points);
    data.push_back(header + Values(own_x) + Values(values));
    return *this;
  }

  std::string Bytes() const {
    const auto put = [](std::string& bytes, std::size_t at, auto value) {
      std::memcpy(&bytes[at], &value, sizeof value);
    };
    std::string bytes(version == 'M' ? 256 : 512, '\0');
    bytes[0] = static_cast<char>(flags);
    bytes[1] = version;
    if (version == 'M') {
      put(bytes, 2, static_cast<std::int16_t>(exponent));
      put(bytes, 4, static_cast<float>(points));
      put(bytes, 8, static_cast<float>(first_x));
      put(bytes, 12, static_cast<float>(last_x));
      put(bytes, 225, static_cast<std::int8_t>(first_exponent));
    } else {
      put(bytes, 3, static_cast<std::int8_t>(exponent));
      put(bytes, 4, points);
      put(bytes, 8, first_x);
      put(bytes, 16, last_x);
      put(bytes, 24, sub_files.value_or(static_cast<std::int32_t>(data.size())));
    }
    bytes += Values(x);
    for (const std::string& sub_file : data) bytes += sub_file;
    return bytes;
  }
};

}  // namespace nvimport
