#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "nvimport/formats/spectra/SpectrumAxis.h"
#include "nvimport/platform/BlockReader.h"
#include "nvimport/platform/InputFile.h"

namespace nvimport {

// What the header of a Brimrose file says. Observations of one size follow it.
struct BrimroseLayout {
  SpectrumGrid axis;  // of wavelengths
  int observations = 0;

  bool IsFinite() const;
  std::uint64_t ObservationSize() const;
  // Where an observation begins, from 0.
  std::uint64_t Observation(int number) const;
  // True when every field makes sense and the file of that size holds just what they say.
  bool IsWhole(std::uint64_t file_size) const;
};

// The layout of a file; none of one that is too short for a header.
std::optional<BrimroseLayout> ReadBrimroseLayout(InputFile& file);

// What an observation begins with. Its values follow, as float32.
struct BrimroseHead {
  std::int32_t time = 0;    // in seconds since 1970 began
  std::string_view sample;  // good until more is read
};

// Reads the one that lies ahead and goes on to the values; none of a file that ends before.
std::optional<BrimroseHead> ReadBrimroseHead(BlockReader& reader);

}  // namespace nvimport
