#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace nvimport {

// A good file of three points and two observations, whose values are 10, 11, 12 and 20, 21, 22, and
// whose times are 1 and 2 hours after 1970 began. A test names only what it changes.
struct BrimroseFixture {
  float first = 1100;
  float last = 1120;
  float step = 10;
  std::uint16_t points = 3;
  std::uint16_t observations = 2;
  std::size_t size = 512 + 2 * (120 + 4 * 3);

  std::string Bytes() const {
    std::string bytes(size, '\0');
    const auto put = [&](std::size_t at, auto value) {
      if (at + sizeof value <= size) std::memcpy(&bytes[at], &value, sizeof value);
    };
    put(29, first);
    put(33, last);
    put(37, step);
    put(41, points);
    put(45, observations);
    std::size_t at = 512;
    for (int number = 1; at < size; ++number) {
      put(at, 3600 * number);
      put(at + 4, 'x');
      for (int i = 0; i < points; ++i)
        put(at + 120 + 4 * static_cast<std::size_t>(i), static_cast<float>(10 * number + i));
      at += 120 + std::size_t{4} * points;
    }
    return bytes;
  }
};

}  // namespace nvimport
