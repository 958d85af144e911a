#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace nvimport {

// A record of three values, 1, 2 and 3, at 1100, 1110 and 1120. A test names only what it changes.
struct NsasSpectrum {
  std::int16_t model = 6500;
  std::int16_t number = 7;
  std::string name = "Oats      ";
  std::int16_t points = 3;
  std::int16_t first = 1100;
  std::int16_t end = 1130;
  std::int16_t constituents = 0;
  std::array<std::int16_t, 6> time = {98, 2, 1, 3, 4, 5};  // as it is stored

  std::string Bytes() const {
    const std::size_t values = points > 0 ? static_cast<std::size_t>(points) : 0;
    std::string bytes(128 + (values * 4 + 127) / 128 * 128, '\0');
    const auto put = [&](std::size_t at, auto value) {
      std::memcpy(&bytes[at], &value, sizeof value);
    };
    put(0, model);
    put(2, number);
    bytes.replace(4, name.size(), name);
    put(14, points);
    put(16, first);
    put(18, end);
    put(30, constituents);
    put(64, time);
    for (std::size_t i = 0; i < values; ++i) put(128 + 4 * i, static_cast<float>(i + 1));
    return bytes;
  }
};

inline std::string NsasBytes(const std::vector<NsasSpectrum>& spectra) {
  std::string bytes;
  for (const NsasSpectrum& spectrum : spectra) bytes += spectrum.Bytes();
  return bytes;
}

// A CN file with these names of ten characters, none for the version without, and these values of
// each spectrum.
inline std::string NsasConstituents(const std::string& names,
                                    const std::vector<std::vector<float>>& values) {
  std::string bytes = names;
  if (!names.empty()) bytes.resize(384, ' ');
  for (const auto& record : values) {
    bytes.append(reinterpret_cast<const char*>(record.data()), record.size() * sizeof(float));
    bytes.append(128 - record.size() * sizeof(float), '\0');
  }
  return bytes;
}

}  // namespace nvimport
