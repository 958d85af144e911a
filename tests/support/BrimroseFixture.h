#pragma once

#include <cstdint>
#include <cstring>
#include <string>

// A good file of three points and two observations. A test names only what it changes.
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
    return bytes;
  }
};
